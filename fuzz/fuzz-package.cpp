// Any package file is judged or ends in an exception that tells why not; and whatever it holds, nothing is
// made but the tree below the staging directory. The seeds have no digests, which would make every change of
// a header one that librpm refuses.

#include "kelp/core/common/rpm/initialise.h"
#include "kelp/core/kelp/incoming/rpm-package.h"
#include "support/fuzz-checker.h"
#include "support/fuzz-file.h"

#include <unistd.h>

#include <cstdlib>
#include <exception>
#include <iostream>

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

void judge(const fs::path &package, const fs::path &staging) {
    bool isRefused = false;
    const auto note = [&](const Validator::Message &message) {
        isRefused = isRefused || message.level == Validator::LogLevel::Error ||
                    message.level == Validator::LogLevel::Critical;
    };
    RpmPackage::Trial trial;
    trial.config = fuzzConfig();
    trial.headerFindings = note;
    trial.contentFindings = note;
    const auto file = RpmPackage::fromFile(package, {}, Common::Rpm::Signatures::Unchecked);
    const std::string refusal = file.validate(staging, trial);
    require(refusal.empty() != isRefused);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    static const Scratch scratch;
    std::cout.rdbuf(nullptr);
    Common::Rpm::silenceLibrary();
    const FuzzFile file(data, size);
    try {
        judge(file.path(), scratch.staging());
    } catch (const std::exception &) {
        // What prevents a verdict is told to whoever asked for one.
    }
    scratch.clear();
    return 0;
}
