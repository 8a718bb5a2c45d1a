#include "kelp/core/common/files/filesystem.h"

#include "kelp/core/common/errors/reraise-as.h"
#include "kelp/core/common/files/path-tests.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <iterator>

namespace fs = std::filesystem;

namespace Common {

namespace {

struct TimestampedPath {
    fs::path path;
    fs::file_time_type time;
};

constexpr bool holds(Listing listing, Listing flag) {
    return (static_cast<unsigned>(listing) & static_cast<unsigned>(flag)) != 0;
}

template<class Iterator>
std::vector<TimestampedPath> entriesOf(const fs::path &directory) {
    std::vector<TimestampedPath> entries;
    for (const fs::directory_entry &entry : Iterator(directory))
        // Through links, in every listing: a dangling link fails here, as the publication of a version with
        // one does (DanglingLinks::Fail).
        entries.push_back({entry.path(), fs::last_write_time(entry.path())});
    return entries;
}

template<class Create>
/// A dangling link at the place passes the look but fails the creation, so nothing is ever replaced.
void createLink(const char *kind, const fs::path &target, const fs::path &link, const Create &create) {
    const std::string message =
        std::string("Couldn't create ") + kind + " " + link.string() + " pointing to " + target.string();
    if (Common::exists(link))
        throw Error(ErrorCode::Filesystem, message + " (path already exists)");
    reraiseAs(ErrorCode::Filesystem, message, [&] {
        fs::create_directories(link.parent_path());
        create(target, link);
    });
}

/// After a failed look the parent could be on another filesystem: that raises.
fs::path nearestExisting(const fs::path &path) {
    fs::path existing = fs::absolute(path);
    while (!lookThrough(existing) && existing.has_relative_path())
        existing = existing.parent_path();
    return existing;
}

/// All is 0 for a missing entry.
struct statx lookAt(const fs::path &path) {
    struct statx status = {};
    if (::statx(AT_FDCWD, path.c_str(), AT_SYMLINK_NOFOLLOW, STATX_TYPE, &status) != 0 && !isNotFound(errno))
        throw fs::filesystem_error("cannot look", path, std::error_code(errno, std::system_category()));
    return status;
}

/// Also tells a mount of the same filesystem, of which the device number does not differ. A kernel before 5.8
/// tells only other filesystems.
bool isMountPoint(const fs::path &path) {
    const struct statx status = lookAt(path);
    if (status.stx_mask == 0)
        return false; // It has gone meanwhile.
    if ((status.stx_attributes_mask & STATX_ATTR_MOUNT_ROOT) != 0)
        return (status.stx_attributes & STATX_ATTR_MOUNT_ROOT) != 0;
    const struct statx parent = lookAt(path.parent_path());
    return status.stx_dev_major != parent.stx_dev_major || status.stx_dev_minor != parent.stx_dev_minor;
}

/// Of a file too: the kernel does not remove it, and half of the tree would be gone by then.
fs::path mountPointIn(const fs::path &path) {
    if (!fs::is_directory(fs::symlink_status(path)))
        return {};
    if (isMountPoint(path))
        return path;
    for (const fs::directory_entry &entry : fs::recursive_directory_iterator(path))
        if (!entry.is_symlink() && isMountPoint(entry.path()))
            return entry.path();
    return {};
}

} // namespace

void requireNoMount(const fs::path &path) {
    const fs::path mounted = reraiseAs(ErrorCode::Filesystem, "Couldn't look for mounts in " + path.string(),
                                       [&] { return mountPointIn(path); });
    if (!mounted.empty())
        throw Error(ErrorCode::Filesystem, mounted.string() + " is a mount point");
}

void removeAll(const fs::path &path) {
    requireNoMount(path);
    reraiseAs(ErrorCode::Filesystem, "Couldn't remove filesystem entry: " + path.string(),
              [&] { fs::remove_all(path); });
}

void createDirectories(const fs::path &path) {
    reraiseAs(ErrorCode::Filesystem, "Couldn't create directory: " + path.string(),
              [&] { fs::create_directories(path); });
}

void createPrivateDirectory(const fs::path &path) {
    createDirectories(path.parent_path());
    // With its mode from the first moment: otherwise others could open it in between, and keep it open.
    if (::mkdir(path.c_str(), 0700) != 0 && errno != EEXIST)
        throw Error(ErrorCode::Filesystem, "Couldn't create directory: " + path.string(), errno);
}

void setPermissions(const fs::path &path, fs::perms permissions) {
    reraiseAs(ErrorCode::Filesystem, "Couldn't set permissions for " + path.string(),
              [&] { fs::permissions(path, permissions, fs::perm_options::replace); });
}

fs::path readSymlink(const fs::path &path) {
    return reraiseAs(ErrorCode::Filesystem, "Couldn't read symlink: " + path.string(),
                     [&] { return fs::read_symlink(path); });
}

/// A kill in between leaves empty parents at worst.
void move(const fs::path &from, const fs::path &to) {
    reraiseAs(ErrorCode::Filesystem, "Couldn't move " + from.string() + " to " + to.string(), [&] {
        fs::create_directories(to.parent_path());
        fs::rename(from, to);
    });
}

void createSymlink(const fs::path &target, const fs::path &link) {
    createLink("symlink", target, link, [](const auto &a, const auto &b) { fs::create_symlink(a, b); });
}

void createHardlink(const fs::path &target, const fs::path &link) {
    createLink("hardlink", target, link, [](const auto &a, const auto &b) { fs::create_hard_link(a, b); });
}

std::vector<fs::path> listDirectory(const fs::path &path, Listing listing) {
    return reraiseAs(ErrorCode::Filesystem, "Couldn't read directory: " + path.string(), [&] {
        auto entries = holds(listing, Listing::Recursive) ? entriesOf<fs::recursive_directory_iterator>(path)
                                                          : entriesOf<fs::directory_iterator>(path);
        if (holds(listing, Listing::SortByWriteTime))
            std::sort(entries.begin(), entries.end(),
                      [](const auto &a, const auto &b) { return a.time < b.time; });
        std::vector<fs::path> paths;
        paths.reserve(entries.size());
        std::transform(entries.begin(), entries.end(), std::back_inserter(paths),
                       [](TimestampedPath &entry) { return std::move(entry.path); });
        return paths;
    });
}

bool hasSameContent(const fs::path &a, const fs::path &b) {
    return reraiseAs(ErrorCode::Filesystem, "Couldn't compare " + a.string() + " with " + b.string(), [&] {
        if (fs::file_size(a) != fs::file_size(b))
            return false;
        std::ifstream first(a, std::ios::binary);
        std::ifstream second(b, std::ios::binary);
        // These iterators take a file that is not open for an empty one: two such files would seem the same.
        const bool isOpen = first.is_open() && second.is_open();
        const bool same =
            std::equal(std::istreambuf_iterator<char>(first), {}, std::istreambuf_iterator<char>(second));
        if (!isOpen || first.bad() || second.bad())
            throw std::ios_base::failure("cannot read");
        return same;
    });
}

std::uint64_t freeSpace(const fs::path &path) {
    return reraiseAs(ErrorCode::Filesystem, "Couldn't retrieve free space: " + path.string(),
                     [&] { return fs::space(nearestExisting(path)).available; });
}

std::uint64_t deviceOf(const fs::path &path) {
    return reraiseAs(ErrorCode::Filesystem, "Couldn't retrieve free space: " + path.string(), [&] {
        const fs::path existing = nearestExisting(path);
        struct stat status = {};
        if (::stat(existing.c_str(), &status) != 0)
            throw fs::filesystem_error("cannot look", existing,
                                       std::error_code(errno, std::system_category()));
        return status.st_dev;
    });
}

bool isSameFilesystem(const fs::path &a, const fs::path &b) {
    return deviceOf(a) == deviceOf(b);
}

} // namespace Common
