#include "kelp/core/common/files/directory.h"

#include "kelp/core/common/files/path-tests.h"
#include "kelp/core/common/files/path-walk.h"
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <list>
#include <memory>

namespace fs = std::filesystem;

namespace Common {

namespace {

constexpr int directoryFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;
/// The mode of a directory without its final owner; a later start recognises it by that.
constexpr mode_t unfinishedMode = 0700;
constexpr mode_t permissionBits = 07777;

fs::filesystem_error failure(const char *what, const fs::path &path, int reason) {
    return {what, path, std::error_code(reason, std::system_category())};
}

/// With the kernel's own reason for a link that it does not follow.
[[noreturn]] void refuse(const fs::path &path) {
    throw failure("no way through a link", path, ELOOP);
}

struct stat statusOf(const FileDescriptor &file, const fs::path &path) {
    struct stat status = {};
    if (::fstat(file.get(), &status) != 0)
        throw failure("cannot read status", path, errno);
    return status;
}

bool isLink(int directory, const std::string &name) {
    struct stat status = {};
    return ::fstatat(directory, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISLNK(status.st_mode);
}

/// Who can move a directory decides where ".." leads from it.
bool leadsUp(const fs::path &path) {
    return std::find(path.begin(), path.end(), "..") != path.end();
}

void requireDownward(const fs::path &path) {
    if (path.is_absolute() || leadsUp(path))
        refuse(path);
}

/// The directory, if there is no link on its way.
FileDescriptor openWithoutLinks(const fs::path &path) {
    if (leadsUp(path))
        // Left to the walk, which checks the directory's owner: the kernel does not.
        return FileDescriptor();
    const FileDescriptor start(::open(path.is_absolute() ? "/" : ".", O_PATH | O_DIRECTORY | O_CLOEXEC));
    return openBeneath(start.get(), path.relative_path(), directoryFlags);
}

/// Walks a path as the kernel does, but judges each link before it follows it.
class WayByLinksOfRoot {
public:
    explicit WayByLinksOfRoot(const fs::path &path) : path_(path), walk_(path) {}

    /// The end of the path; nothing is open when it does not exist.
    FileDescriptor end() {
        enter(".");
        for (std::optional<fs::path> name; here_.get() >= 0 && (name = walk_.next());)
            take(*name);
        return std::move(here_);
    }

private:
    void take(const fs::path &name) {
        if (name.is_absolute())
            enter("/");
        else if (name == ".." && !isOfRootAlone())
            refuse(path_); // The directory may have been moved to another parent.
        else if (!name.empty())
            step(name);
    }

    void enter(const char *directory) {
        here_ = FileDescriptor(::open(directory, O_PATH | O_DIRECTORY | O_CLOEXEC));
        if (here_.get() < 0)
            throw failure("cannot open directory", directory, errno);
    }

    void step(const fs::path &name) {
        // Opens a link itself: it is judged before it is followed.
        FileDescriptor next(::openat(here_.get(), name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
        if (next.get() < 0 && !isNotFound(errno))
            throw failure("cannot open directory", path_, errno);
        if (next.get() >= 0 && S_ISLNK(statusOf(next, path_).st_mode))
            follow(next);
        else
            here_ = std::move(next);
    }

    void follow(const FileDescriptor &link) {
        char text[PATH_MAX];
        // By the judged descriptor: its name may hold another link by now.
        const ssize_t size = ::readlinkat(link.get(), "", text, sizeof text);
        if (size < 0 || statusOf(link, path_).st_uid != 0 || !isOfRootAlone())
            refuse(path_);
        // A relative text counts from the link's directory, where the walk stands.
        if (!walk_.follow(std::string(text, static_cast<std::size_t>(size))))
            refuse(path_);
    }

    /// A link of root's counts only where others cannot write: they could have moved it there.
    bool isOfRootAlone() const {
        const struct stat status = statusOf(here_, path_);
        return status.st_uid == 0 && (status.st_mode & (S_IWGRP | S_IWOTH)) == 0;
    }

    const fs::path &path_;
    PathWalk walk_;
    FileDescriptor here_;
};

/// Gives a made directory the owner and permissions of its parent, so that the same people can write to it. A
/// kill between the two leaves a directory of the right owner, closed to all others.
void makeLike(const FileDescriptor &parent, const FileDescriptor &made, const fs::path &path) {
    const struct stat status = statusOf(parent, path);
    const bool isOurs = status.st_uid == ::geteuid() && status.st_gid == ::getegid();
    // Only root can change the owner.
    if (!isOurs && ::geteuid() == 0 && ::fchown(made.get(), status.st_uid, status.st_gid) != 0)
        throw failure("cannot give away directory", path, errno);
    if (::fchmod(made.get(), status.st_mode & permissionBits) != 0)
        throw failure("cannot set permissions", path, errno);
}

} // namespace

Directory::Directory(const fs::path &path) : directory_(::open(path.c_str(), directoryFlags)), path_(path) {
    if (directory_.get() < 0)
        throw failure("cannot open directory", path, errno);
}

Directory::Directory(FileDescriptor directory, fs::path path) :
    directory_(std::move(directory)), path_(std::move(path)) {}

std::optional<Directory> Directory::byLinksOfRoot(const fs::path &path) {
    // Usually one look instead of one for each directory on the way.
    if (FileDescriptor found = openWithoutLinks(path); found.get() >= 0)
        return Directory(std::move(found), path);
    const FileDescriptor place = WayByLinksOfRoot(path).end();
    FileDescriptor directory(place.get() < 0 ? -1 : ::openat(place.get(), ".", directoryFlags));
    if (directory.get() >= 0)
        return Directory(std::move(directory), path);
    if (place.get() < 0 || isNotFound(errno))
        return std::nullopt;
    throw failure("cannot open directory", path, errno);
}

Directory Directory::makeByLinksOfRoot(const fs::path &path) {
    if (auto there = byLinksOfRoot(path))
        return std::move(*there);
    if (!path.has_relative_path())
        throw failure("cannot make directory", path, ENOTDIR);
    const Directory parent = makeByLinksOfRoot(path.parent_path());
    if (::mkdirat(parent.directory_.get(), path.filename().c_str(), 0777) != 0 && errno != EEXIST)
        parent.raise("cannot make directory", path.filename());
    // Opened without following: others may have put a link in its place.
    if (auto made = parent.find(path.filename()))
        return std::move(*made);
    throw failure("cannot make directory", path, ENOTDIR);
}

bool Directory::isRefusal(const std::system_error &error) {
    return error.code() == std::errc::too_many_symbolic_link_levels;
}

Directory Directory::again() const {
    FileDescriptor same(::openat(directory_.get(), ".", directoryFlags));
    if (same.get() < 0)
        raise("cannot open directory", {});
    return {std::move(same), path_};
}

std::optional<Directory> Directory::find(const fs::path &path) const {
    requireDownward(path);
    if (FileDescriptor found = openBeneath(directory_.get(), path, directoryFlags); found.get() >= 0)
        return Directory(std::move(found), path_ / path);
    // Single steps show what is in the way: nothing, a file or a link.
    Directory here = again();
    for (const fs::path &name : path) {
        FileDescriptor next = here.step(name);
        if (next.get() < 0)
            return std::nullopt;
        here = Directory(std::move(next), here.path_ / name);
    }
    return here;
}

FileDescriptor Directory::step(const std::string &name) const {
    const char *entry = name.empty() ? "." : name.c_str(); // What stands after a last "/".
    // The kernel says ENOTDIR for a link as for a file: another look must tell which it is.
    FileDescriptor next(::openat(directory_.get(), entry, directoryFlags | O_NOFOLLOW));
    if (next.get() >= 0 || errno == ENOENT)
        return next;
    const int reason = errno;
    if (isLink(directory_.get(), name))
        refuse(path_ / name);
    if (reason != ENOTDIR)
        throw failure("cannot open directory", path_ / name, reason);
    return next;
}

Directory Directory::make(const fs::path &path) const {
    requireDownward(path);
    Directory here = again();
    for (const fs::path &name : path)
        here = here.makeStep(name);
    return here;
}

Directory Directory::makeStep(const std::string &name) const {
    const char *entry = name.empty() ? "." : name.c_str();
    if (::mkdirat(directory_.get(), entry, unfinishedMode) != 0 && errno != EEXIST)
        raise("cannot make directory", name);
    Directory made(step(name), path_ / name);
    if (made.directory_.get() < 0)
        throw failure("cannot make directory", path_ / name, ENOTDIR);
    // A directory that is ours, closed and empty counts as made just now, or by a start that was killed right
    // here. Any other is foreign.
    const struct stat status = statusOf(made.directory_, made.path_);
    if (status.st_uid == ::geteuid() && (status.st_mode & ACCESSPERMS) == unfinishedMode &&
        made.names().empty())
        makeLike(directory_, made.directory_, made.path_);
    return made;
}

bool Directory::look(const std::string &name, struct stat &status) const {
    if (::fstatat(directory_.get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0)
        return true;
    if (errno != ENOENT)
        raise("cannot look at", name);
    return false;
}

bool Directory::look(const std::string &name, struct statx &status) const {
    if (::statx(directory_.get(), name.c_str(), AT_SYMLINK_NOFOLLOW, STATX_BASIC_STATS, &status) == 0)
        return true;
    if (errno != ENOENT)
        raise("cannot look at", name);
    return false;
}

void Directory::makeLink(const std::string &target, const std::string &name) const {
    if (::symlinkat(target.c_str(), directory_.get(), name.c_str()) != 0)
        raise("cannot make link", name);
}

std::vector<std::string> Directory::names() const {
    auto found = namesIn(directory_);
    if (!found)
        raise("cannot read directory", {});
    return std::move(*found);
}

/// For calls that take only paths: the kernel starts from the open directory, even if its path has changed.
fs::path Directory::reach(const std::string &name) const {
    return "/proc/self/fd/" + std::to_string(directory_.get()) + "/" + name;
}

bool Directory::move(const std::string &name, const Directory &to, const std::string &newName) const {
    const int from = directory_.get();
    if (::renameat2(from, name.c_str(), to.directory_.get(), newName.c_str(), RENAME_NOREPLACE) == 0)
        return true;
    if (errno == EEXIST)
        return false;
    // Some filesystems cannot refuse a taken name within the rename.
    const bool isUnknown = errno == EINVAL || errno == ENOSYS;
    struct stat status = {};
    if (isUnknown && ::fstatat(to.directory_.get(), newName.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0)
        return false;
    // Two steps, then: a file that appears at the new name in between is replaced.
    if (!isUnknown || ::renameat(from, name.c_str(), to.directory_.get(), newName.c_str()) != 0)
        raise("cannot move", name);
    return true;
}

bool Directory::exchange(const std::string &name, const std::string &other) const {
    return exchange(name, *this, other);
}

bool Directory::exchange(const std::string &name, const Directory &place, const std::string &other) const {
    if (::renameat2(directory_.get(), name.c_str(), place.directory_.get(), other.c_str(), RENAME_EXCHANGE) ==
        0)
        return true;
    if (errno != EINVAL && errno != ENOSYS)
        raise("cannot exchange", name);
    return false;
}

bool Directory::removeFile(const std::string &name) const {
    if (::unlinkat(directory_.get(), name.c_str(), 0) == 0)
        return true;
    if (errno != ENOENT)
        raise("cannot remove", name);
    return false;
}

bool Directory::removeIfEmpty(const std::string &name) const {
    if (::unlinkat(directory_.get(), name.c_str(), AT_REMOVEDIR) == 0)
        return true;
    // POSIX lets filesystems say EEXIST for "not empty".
    if (errno != ENOENT && errno != ENOTDIR && errno != ENOTEMPTY && errno != EEXIST)
        raise("cannot remove", name);
    return false;
}

void Directory::raise(const char *what, const fs::path &path) const {
    throw failure(what, path_ / path, errno);
}

} // namespace Common
