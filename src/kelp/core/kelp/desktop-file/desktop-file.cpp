#include "kelp/core/kelp/desktop-file/desktop-file.h"

#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/files/file-descriptor.h"
#include "platform/app-manifest/manifest-entry.h"

#include <fcntl.h>
#include <glib.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

namespace Core::KELP {

namespace {

using namespace std::string_view_literals;

/// Of names that were not made to collide, only a handful share a hash.
constexpr std::ptrdiff_t maximumOfOneHash = 64;

/// Fifty times what desktop files in all languages have. The reader takes some seven hundred bytes for each.
constexpr std::size_t maximumNames = 50'000;

constexpr std::string_view blanks = " \t\r\v\f";
/// A zero ends the reader's texts as well.
constexpr auto endsOfName = "=]\0"sv;

/// The hash of g_str_hash().
std::uint32_t hashOf(std::string_view name) {
    std::uint32_t hash = 5381;
    for (const char c : name)
        // The reader takes bytes as signed, even where char is unsigned.
        hash = hash * 33 + static_cast<std::uint32_t>(static_cast<signed char>(c));
    return hash;
}

/// The key or the group that a line names.
std::string_view nameIn(std::string_view line) {
    line.remove_prefix(std::min(line.find_first_not_of(blanks), line.size()));
    if (line.starts_with('['))
        line.remove_prefix(1);
    const std::string_view name = line.substr(0, line.find_first_of(endsOfName));
    return name.substr(0, name.find_last_not_of(blanks) + 1);
}

using HashedName = std::pair<std::uint32_t, std::string_view>;

/// One entry for each line with a name, up to one above the limit.
std::vector<HashedName> namesIn(std::string_view text) {
    std::vector<HashedName> names;
    while (!text.empty() && names.size() <= maximumNames) {
        const std::string_view line = text.substr(0, text.find('\n'));
        text.remove_prefix(std::min(line.size() + 1, text.size()));
        const std::string_view name = nameIn(line);
        if (!name.empty() && !name.starts_with('#'))
            names.emplace_back(hashOf(name), name);
    }
    return names;
}

/// Whether the names of groups and keys in a key file would overload its readers. More than fifty thousand
/// names would: a reader takes hundreds of bytes for each. So would many different names with the same hash
/// of GLib's, and such names are easy to make: the time that GLib's tables take grows with the square of
/// their number.
bool isNameFlood(std::string_view text) {
    std::vector<HashedName> names = namesIn(text);
    if (names.size() > maximumNames)
        return true;
    std::ranges::sort(names);
    // A repeated name is no new entry in the reader's tables.
    names.erase(std::unique(names.begin(), names.end()), names.end());
    for (auto first = names.begin(); first != names.end();) {
        const auto last = std::find_if(first, names.end(),
                                       [&](const HashedName &name) { return name.first != first->first; });
        if (last - first > maximumOfOneHash)
            return true;
        first = last;
    }
    return false;
}

using AppManifest::ManifestEntry;
using Common::FileDescriptor;

[[noreturn]] void raiseUnreadable(const std::string &name, int reason) {
    throw Common::Error(Common::ErrorCode::Filesystem, "Couldn't read desktop file: " + name, reason);
}

/// Calls `transfer(done)`, which answers as read(2) and write(2) do, until `size` bytes are done.
template<class Transfer>
void transferAll(std::size_t size, const std::string &name, const Transfer &transfer) {
    for (std::size_t done = 0; done < size;) {
        const ssize_t got = transfer(done);
        if (got == 0 || (got < 0 && errno != EINTR))
            raiseUnreadable(name, got == 0 ? EIO : errno);
        done += got > 0 ? static_cast<std::size_t>(got) : 0;
    }
}

/// Each becomes a text of its own, and maybe a finding.
constexpr std::ptrdiff_t mostElements = 200'000;

bool isBearable(const std::string &text) {
    return text.size() <= maximumDesktopFileSize && std::ranges::count(text, ';') <= mostElements &&
           !isNameFlood(text);
}

/// Whether a reader of key files refuses the text. The platform's own reader gives the same answer for a file
/// that it could not read.
bool isRefused(const std::string &text) {
    const std::unique_ptr<GKeyFile, decltype(&g_key_file_unref)> file(g_key_file_new(), g_key_file_unref);
    return g_key_file_load_from_data(file.get(), text.data(), text.size(), G_KEY_FILE_KEEP_TRANSLATIONS,
                                     nullptr) == 0 ||
           g_key_file_has_group(file.get(), "Desktop Entry") == 0;
}

/// Gives `path`, which holds the text, to the platform's reader.
std::optional<ManifestEntry> parse(const std::string &path, const std::string &text,
                                   const std::string &name) {
    auto entry = ManifestEntry::fromFilename(path);
    if (!entry && !isRefused(text))
        raiseUnreadable(name, EIO);
    return entry;
}

} // namespace

std::optional<std::string> readDesktopText(const std::string &path) {
    // O_NONBLOCK: does not wait for the writer of a pipe.
    const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (file.get() < 0 && errno == ENOENT)
        return std::nullopt;
    struct stat status {};
    if (file.get() < 0 || ::fstat(file.get(), &status) != 0)
        raiseUnreadable(path, errno);
    // Checked before the read: a sparse file can claim more than fits in memory.
    if (!S_ISREG(status.st_mode) || static_cast<std::uintmax_t>(status.st_size) > maximumDesktopFileSize)
        return std::nullopt;
    std::string text(static_cast<std::size_t>(status.st_size), '\0');
    transferAll(text.size(), path,
                [&](std::size_t done) { return ::read(file.get(), text.data() + done, text.size() - done); });
    return isBearable(text) ? std::optional(std::move(text)) : std::nullopt;
}

std::optional<ManifestEntry> readDesktopFile(const std::string &path) {
    // Checked before the reader runs: its tables cost memory while it reads.
    const auto text = readDesktopText(path);
    return text ? parse(path, *text, path) : std::nullopt;
}

std::optional<ManifestEntry> parseDesktopText(const std::string &text, const std::string &name) {
    if (!isBearable(text))
        return std::nullopt;
    // The reader needs a file: this one has no name and vanishes when closed.
    const FileDescriptor file(::memfd_create("desktop", MFD_CLOEXEC));
    if (file.get() < 0)
        raiseUnreadable(name, errno);
    transferAll(text.size(), name, [&](std::size_t done) {
        return ::write(file.get(), text.data() + done, text.size() - done);
    });
    return parse("/proc/self/fd/" + std::to_string(file.get()), text, name);
}

} // namespace Core::KELP
