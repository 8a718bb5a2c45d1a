// Any package file gets a verdict, or the judgement raises an exception. In both cases nothing is made but
// the tree below the staging directory. The tree and the memory stay within their bounds. A finding is
// repeated only after so many of its id that nobody is shown more. The seeds have no digests: with them,
// librpm would refuse every changed header before any other code sees it.

#include "kelp/core/common/rpm/initialise.h"
#include "kelp/core/common/rpm/reader.h"
#include "kelp/core/kelp/incoming/rpm-package.h"
#include "kelp/core/kelp/incoming/validation-setup.h"
#include "kelp/core/kelp/validator/framework/rpm-meta.h"
#include "support/fuzz-checker.h"
#include "support/fuzz-file.h"

#include <sanitizer/allocator_interface.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <map>
#include <set>

using Core::KELP::RpmPackage;
namespace fs = std::filesystem;

namespace {

/// Where packages are unpacked: in memory, if the machine has a place for that.
class Scratch {
public:
    Scratch() {
        const fs::path memory = "/dev/shm";
        const bool isUsable = ::access(memory.c_str(), W_OK) == 0;
        std::string path = (isUsable ? memory : fs::temp_directory_path()) / "kelp-fuzz-XXXXXX";
        require(::mkdtemp(path.data()) != nullptr);
        path_ = path;
        fs::create_directory(path_ / "around");
    }
    ~Scratch() { fs::remove_all(path_); }

    fs::path staging() const { return path_ / "around/staging"; }

    /// Removes the tree, which must be all that there is.
    void clear() const {
        fs::remove_all(staging());
        require(fs::is_empty(path_ / "around"));
        fs::remove(path_ / "around");
        require(fs::is_empty(path_));
        fs::create_directory(path_ / "around");
    }

private:
    fs::path path_;
};

constexpr std::uint64_t mostUnpacked = std::uint64_t(8) << 20;
constexpr std::ptrdiff_t mostMemory = std::ptrdiff_t(64) << 20;
/// What the decompressors take that decide on that by the payload.
constexpr std::ptrdiff_t mostOfDecompressor = std::ptrdiff_t(144) << 20;
constexpr std::size_t mostOfId = 100;

std::atomic<std::ptrdiff_t> allocated = 0;
std::atomic<std::ptrdiff_t> mostAllocated = 0;

void noteAllocation(const volatile void *, std::size_t size) {
    allocated += static_cast<std::ptrdiff_t>(size);
    mostAllocated = std::max(mostAllocated.load(), allocated.load());
}

void noteRelease(const volatile void *memory) {
    if (memory != nullptr)
        allocated -= static_cast<std::ptrdiff_t>(__sanitizer_get_allocated_size(memory));
}

/// What is taken while it lives is no more than may be for a package of that size, whose header librpm has
/// several times.
class MemoryBound {
public:
    explicit MemoryBound(std::size_t size) :
        bound_(allocated + mostMemory + mostOfDecompressor + 8 * static_cast<std::ptrdiff_t>(size)) {
        mostAllocated = allocated.load();
    }
    MemoryBound(const MemoryBound &) = delete;
    MemoryBound &operator=(const MemoryBound &) = delete;
    ~MemoryBound() { require(mostAllocated <= bound_); }

private:
    std::ptrdiff_t bound_;
};

/// Directories that nobody lists are few, or a few for each file.
std::ptrdiff_t mostDirectories(const fs::path &package) {
    const Validator::RpmMeta meta(Common::Rpm::Reader(package, Common::Rpm::Signatures::Unchecked));
    return std::max<std::ptrdiff_t>(1000, 4 * std::ssize(meta.files())) + std::ssize(meta.files());
}

std::ptrdiff_t directoriesIn(const fs::path &tree) {
    return std::ranges::count_if(
        fs::recursive_directory_iterator(tree),
        [](const fs::directory_entry &entry) { return entry.is_directory() && !entry.is_symlink(); });
}

std::uint64_t sizeOf(const fs::path &tree) {
    std::uint64_t sum = 0;
    for (const fs::directory_entry &entry : fs::recursive_directory_iterator(tree))
        if (entry.is_regular_file() && !entry.is_symlink())
            sum += entry.file_size() / entry.hard_link_count();
    return sum;
}

void judge(const fs::path &package, const fs::path &staging) {
    bool isRefused = false;
    std::map<std::string_view, std::set<std::string>> texts;
    const auto note = [&](const Validator::Message &message) {
        auto &seen = texts[message.entry.id];
        // The two stages have a report each.
        require(seen.size() >= mostOfId || seen.insert(message.text).second ||
                message.entry.id == "path-impossible");
        isRefused = isRefused || message.level == Validator::LogLevel::Error ||
                    message.level == Validator::LogLevel::Critical;
    };
    RpmPackage::Trial trial;
    trial.mostUnpacked = mostUnpacked;
    const auto file = RpmPackage::fromFile(package, {}, Common::Rpm::Signatures::Unchecked);
    // Only now: librpm takes as much as a header claims to hold before it finds that the file is shorter.
    const MemoryBound bound(fs::file_size(package));
    const std::string refusal = file.validate(staging, {{fuzzConfig(), note, note, mostOfId}}, trial).front();
    require(refusal.empty() != isRefused);
    require(sizeOf(staging) <= mostUnpacked);
    require(directoriesIn(staging) <= mostDirectories(package));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    static const Scratch scratch;
    std::cout.rdbuf(nullptr);
    Common::Rpm::silenceLibrary();
    static const int hooks = __sanitizer_install_malloc_and_free_hooks(noteAllocation, noteRelease);
    require(hooks > 0);
    const FuzzFile file(data, size);
    try {
        judge(file.path(), scratch.staging());
    } catch (const std::exception &) {
        // What prevents a verdict is told to whoever asked for one.
    }
    scratch.clear();
    return 0;
}
