#include "kelpctl/validate/run/workspace.h"

#include "kelp/core/common/files/filesystem.h"
#include "kelpctl/validate/run/machine-limits.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <stdexcept>
#include <system_error>

namespace fs = std::filesystem;

namespace KelpCtl {

namespace {

/// In bytes of all files: a larger package must not take memory that others need.
constexpr std::uint64_t largestSmall = std::uint64_t{64} << 20U;

bool isChosen() {
    return std::getenv("TMPDIR") != nullptr;
}

bool isMemory(const struct statfs &status) {
    return status.f_type == TMPFS_MAGIC || status.f_type == RAMFS_MAGIC;
}

} // namespace

bool fitsMemory(std::uint64_t size, std::size_t jobs) {
    struct statfs status {};
    if (isChosen() || size > largestSmall || ::statfs(memoryDirectory, &status) != 0 || !isMemory(status) ||
        ::access(memoryDirectory, W_OK | X_OK) != 0)
        return false;
    // Half stays for the judges and for other programs.
    const std::uint64_t free = status.f_bavail * static_cast<std::uint64_t>(status.f_bsize);
    return size * jobs <= std::min(free, usableMemory()) / 2;
}

std::vector<fs::path> workspacePlaces() {
    std::error_code ignored;
    std::vector<fs::path> places{fs::temp_directory_path(ignored)};
    if (!isChosen())
        places.emplace_back(memoryDirectory);
    return places;
}

namespace {

using Common::FileDescriptor;

constexpr mode_t mode = 0755;
constexpr mode_t lockMode = 0600;
constexpr std::string_view finalPrefix = "kelpctl-";
constexpr std::string_view newPrefix = ".kelpctl-"; ///< Until the directory has its lock.
constexpr std::string_view pattern = "XXXXXX";
constexpr const char *lockName = ".kelpctl-workspace";
constexpr const char *treeName = "tree";

[[noreturn]] void raise(const std::string &text) {
    throw std::runtime_error(text + ": " + std::generic_category().message(errno));
}

[[noreturn]] void raiseUnusable(const std::error_code &error) {
    throw std::runtime_error("TMPDIR is no directory that can be used: " + error.message());
}

bool isLocked(const FileDescriptor &file) {
    return ::flock(file.get(), LOCK_EX | LOCK_NB) == 0;
}

bool isName(const std::string &name) {
    const std::size_t size = name.size() - std::min(name.size(), pattern.size());
    return name.substr(0, size) == finalPrefix || name.substr(0, size) == newPrefix;
}

bool isOfThisUser(const struct stat &status, mode_t type) {
    return (status.st_mode & S_IFMT) == type && status.st_uid == ::geteuid();
}

/// The lock goes last, after a rename to a new one's name: so even after a kill the directory, maybe empty,
/// can be told from others.
void removeWorkspace(fs::path path) {
    std::error_code ignored;
    if (const std::string name = path.filename(); name.starts_with(finalPrefix)) {
        const fs::path hidden = path.parent_path() / ('.' + name);
        if (::rename(path.c_str(), hidden.c_str()) == 0)
            path = hidden;
    }
    // By the path: where others can write too, the sticky bit keeps them from renaming it. Removes links in
    // it, without following them.
    fs::remove_all(path / treeName, ignored);
    if (ignored)
        return;
    fs::remove(path / lockName, ignored);
    fs::remove(path, ignored);
}

void clearOne(const fs::path &path) {
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0 || !isOfThisUser(status, S_IFDIR))
        return;
    // One that has no lock yet, or lost it last, is empty. If it was just being made, its maker notices and
    // makes another.
    if (path.filename().string().starts_with(newPrefix) && ::rmdir(path.c_str()) == 0)
        return;
    const FileDescriptor lock(
        ::open((path / lockName).c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
    if (lock.get() >= 0 && ::fstat(lock.get(), &status) == 0 && isOfThisUser(status, S_IFREG) &&
        isLocked(lock))
        removeWorkspace(path);
}

} // namespace

Workspace::Workspace(const fs::path &parent) {
    std::error_code error;
    if (!fs::is_directory(parent, error))
        raiseUnusable(error ? error : std::make_error_code(std::errc::not_a_directory));
    // Another process's clean-up may remove a directory that has no lock yet.
    constexpr int mostTries = 10;
    for (int tries = 1; !tryToMake(parent); ++tries)
        if (tries == mostTries)
            raise("Couldn't create temporary directory in " + parent.string());
}

/// With mode 0700 and an unpredictable name: others may write in the parent. Raises if no directory can be
/// made. After a later failure removes the directory and returns false, and errno tells why.
bool Workspace::tryToMake(const fs::path &parent) {
    std::string name = (parent / (std::string(newPrefix) + std::string(pattern))).string();
    if (!::mkdtemp(name.data()))
        raise("Couldn't create temporary directory " + name);
    const fs::path made = name;
    lock_ = FileDescriptor(
        ::open((made / lockName).c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, lockMode));
    const fs::path place = parent / made.filename().string().substr(1);
    if (lock_.get() >= 0 && isLocked(lock_) && ::mkdir((made / treeName).c_str(), mode) == 0 &&
        ::rename(made.c_str(), place.c_str()) == 0) {
        temporary_ = place;
        open(place / treeName);
        return true;
    }
    const int reason = errno;
    removeWorkspace(made);
    errno = reason;
    return false;
}

Workspace::Workspace(const fs::path &directory, const std::string &name) {
    Common::createDirectories(directory);
    const fs::path path = directory / name;
    // Fails if the name exists, even as a dangling link.
    if (::mkdir(path.c_str(), mode) != 0) {
        if (errno == EEXIST)
            throw std::runtime_error(path.string() + " exists already");
        raise("Couldn't create " + path.string());
    }
    open(path);
}

void Workspace::open(const fs::path &path) {
    directory_ = FileDescriptor(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    struct stat status {};
    // In a directory in which others may rename, the name could be theirs by now.
    if (directory_.get() < 0 || ::fstat(directory_.get(), &status) != 0 || status.st_uid != ::geteuid())
        raise("Couldn't open " + path.string());
}

Workspace::~Workspace() {
    if (!temporary_.empty())
        removeWorkspace(temporary_);
}

fs::path Workspace::path() const {
    // The directory itself, even after a rename.
    return "/proc/self/fd/" + std::to_string(directory_.get());
}

void Workspace::clearLeft(const fs::path &parent) {
    std::error_code ignored;
    for (fs::directory_iterator entry(parent, ignored), end; entry != end; entry.increment(ignored))
        if (isName(entry->path().filename()))
            clearOne(entry->path());
}

} // namespace KelpCtl
