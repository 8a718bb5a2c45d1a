#include "kelp/core/kelp/incoming/staging-directory.h"

#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/files/filesystem.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <string_view>
#include <utility>

namespace fs = std::filesystem;

namespace Core::KELP {

namespace {

constexpr int directoryFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
/// While they are filled; applyPermissions() sets the package's own.
constexpr mode_t directoryMode = 0755;
/// Until a file is complete, nobody else can open it.
constexpr mode_t fileMode = 0600;
constexpr unsigned permissionBits = 0777;

/// The other half is for the staging directory, so that no verdict depends on its place.
constexpr std::size_t longestPath = PATH_MAX / 2;
/// Each entry can require all of its parents: twenty entries once cost 36,000 directories.
constexpr std::ptrdiff_t deepestPath = 64;

/// The errors for which the package's path is at fault.
constexpr int refusals[] = {EEXIST, ENOTDIR, ELOOP, EXDEV, ENAMETOOLONG, EISDIR, ENOENT, EINVAL};

[[noreturn]] void refuse() {
    throw Common::Error(Common::ErrorCode::BadPackageContent, "package content validation failed");
}

/// Raises errno with the text that `compose` makes. It is kept first: to compose may change it.
template<class Compose>
[[noreturn]] void raiseUnwritable(const Compose &compose) {
    const int error = errno;
    throw Common::Error(Common::ErrorCode::Filesystem, compose(), error);
}

[[noreturn]] void raiseUnreadable(const fs::path &path) {
    throw Common::Error(Common::ErrorCode::Filesystem,
                        "Couldn't look into staging directory: " + path.string(), errno);
}

/// As raiseUnwritable(), but refuses the package if its path is at fault.
template<class Compose>
[[noreturn]] void raiseSystemError(const Compose &compose) {
    if (std::ranges::find(refusals, errno) != std::end(refusals))
        refuse();
    raiseUnwritable(compose);
}

// The texts that these operations have everywhere.

std::string uncreated(const fs::path &directory) {
    return "Couldn't create directory: " + directory.string();
}

std::string unlinked(const char *kind, const fs::path &link, const fs::path &target) {
    return std::string("Couldn't create ") + kind + " " + link.string() + " pointing to " + target.string();
}

bool isPlainName(std::string_view name) {
    return !name.empty() && name != "." && name != ".." && name.size() <= NAME_MAX &&
           name.find('\0') == std::string_view::npos;
}

/// The standard path type would hide doubled slashes.
bool isPlainPath(std::string_view path) {
    for (std::size_t slash = 0; slash != std::string_view::npos;) {
        slash = path.find('/');
        if (!isPlainName(path.substr(0, slash)))
            return false;
        if (slash != std::string_view::npos)
            path.remove_prefix(slash + 1);
    }
    return true;
}

/// The text of an open link.
fs::path targetOf(const FileDescriptor &link, const fs::path &path) {
    char text[PATH_MAX];
    const ssize_t size = ::readlinkat(link.get(), "", text, sizeof text);
    if (size < 0)
        raiseUnreadable(path);
    return std::string(text, static_cast<std::size_t>(size));
}

} // namespace

StagingDirectory::StagingDirectory(const fs::path &path) {
    Common::createDirectories(path);
    directory_ = FileDescriptor(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    std::error_code error;
    path_ = fs::canonical(path, error);
    // The checkers reach the files by their full path.
    if (directory_.get() < 0 || error || path_.native().size() + 1 + longestPath >= PATH_MAX)
        raiseUnwritable([&] { return uncreated(path); });
}

bool StagingDirectory::isPossible(const fs::path &path) {
    const std::string &text = path.native();
    return text.size() <= longestPath && std::ranges::count(text, '/') < deepestPath && isPlainPath(text);
}

bool StagingDirectory::isPossibleTarget(const std::string &text) {
    return !text.empty() && text.size() <= longestPath;
}

void StagingDirectory::makeDirectory(const fs::path &path, fs::perms permissions) {
    checkPath(path);
    openDirectory(path);
    permissions_[path.string()] = permissions;
}

FileDescriptor StagingDirectory::createFile(const fs::path &path) {
    checkPath(path);
    const FileDescriptor &parent = openParent(path);
    // Never opens an existing file: a second entry of the path would change it after its verdict.
    const int flags = O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
    FileDescriptor file(::openat(parent.get(), path.filename().c_str(), flags, fileMode));
    if (file.get() < 0)
        raiseSystemError(
            [&] { return "Couldn't open file for writing rpm content: " + realPath(path).string(); });
    return file;
}

void StagingDirectory::createSymlink(const fs::path &target, const fs::path &path) const {
    checkPath(path);
    const FileDescriptor parent = openDirectory(path.parent_path());
    if (::symlinkat(target.c_str(), parent.get(), path.filename().c_str()) != 0)
        raiseSystemError([&] { return unlinked("symlink", realPath(path), target); });
}

void StagingDirectory::createHardlink(const fs::path &target, const fs::path &path) const {
    checkPath(target);
    checkPath(path);
    const FileDescriptor from = openDirectory(target.parent_path());
    const FileDescriptor to = openDirectory(path.parent_path());
    // Without AT_SYMLINK_FOLLOW: a hard link to a link is one of the link, not of its target.
    if (::linkat(from.get(), target.filename().c_str(), to.get(), path.filename().c_str(), 0) != 0)
        raiseSystemError([&] { return unlinked("hardlink", realPath(path), realPath(target)); });
}

void StagingDirectory::applyPermissions() const {
    // Children come after their parents in the map, and must be reached before these are closed to us.
    for (auto row = permissions_.rbegin(); row != permissions_.rend(); ++row)
        setPermissions(openDirectory(row->first), row->second, realPath(row->first));
}

void StagingDirectory::hideLater(const fs::path &path, fs::perms permissions) {
    hidden_[path.string()] = permissions;
}

void StagingDirectory::applyFilePermissions() const {
    for (const auto &[path, permissions] : hidden_) {
        const FileDescriptor file = openExisting(path, O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
        if (file.get() < 0)
            raiseUnreadable(path);
        setPermissions(file, permissions, realPath(path));
    }
}

std::optional<TreeNode> StagingDirectory::find(const fs::path &path) const {
    const FileDescriptor found = openExisting(path, O_PATH | O_NOFOLLOW | O_CLOEXEC);
    // A name that is too long cannot exist.
    if (found.get() < 0 && (errno == ENOENT || errno == ENAMETOOLONG))
        return std::nullopt;
    struct stat status {};
    if (found.get() < 0 || ::fstat(found.get(), &status) != 0)
        raiseUnreadable(path);
    if (S_ISLNK(status.st_mode))
        return TreeNode{TreeNode::Kind::Link, targetOf(found, path)};
    return TreeNode{S_ISDIR(status.st_mode) ? TreeNode::Kind::Directory : TreeNode::Kind::File};
}

std::vector<std::string> StagingDirectory::namesIn(const fs::path &path) const {
    auto names = Common::namesIn(openExisting(path, directoryFlags));
    if (!names)
        raiseUnreadable(path);
    return std::move(*names);
}

FileDescriptor StagingDirectory::openDirectory(const fs::path &path) const {
    FileDescriptor found = Common::openBeneath(directory_.get(), path.empty() ? "." : path, directoryFlags);
    if (found.get() >= 0)
        return found;
    return makeByComponents(path);
}

/// Keeps the last one open: the files of a directory are many, and come one after the other.
const FileDescriptor &StagingDirectory::openParent(const fs::path &path) {
    fs::path parent = path.parent_path();
    if (lastParentDirectory_.get() < 0 || parent != lastParent_) {
        lastParentDirectory_ = openDirectory(parent);
        lastParent_ = std::move(parent);
    }
    return lastParentDirectory_;
}

FileDescriptor StagingDirectory::makeByComponents(const fs::path &path) const {
    const auto text = [&] { return uncreated(realPath(path)); };
    FileDescriptor current(::openat(directory_.get(), ".", directoryFlags));
    if (current.get() < 0)
        raiseUnwritable(text);
    for (const fs::path &name : path) {
        // An existing entry may be a link or a file: the next line goes through neither.
        if (::mkdirat(current.get(), name.c_str(), directoryMode) != 0 && errno != EEXIST)
            raiseSystemError(text);
        FileDescriptor next(::openat(current.get(), name.c_str(), directoryFlags));
        if (next.get() < 0)
            raiseSystemError(text);
        current = std::move(next);
    }
    return current;
}

FileDescriptor StagingDirectory::openExisting(const fs::path &path, int flags) const {
    return Common::openBeneath(directory_.get(), path.empty() ? "." : path, flags);
}

void StagingDirectory::checkPath(const fs::path &path) const {
    if (!isPossible(path))
        refuse();
}

void setPermissions(const FileDescriptor &file, fs::perms permissions, const fs::path &name) {
    if (::fchmod(file.get(), static_cast<mode_t>(permissions) & permissionBits) != 0)
        raiseUnwritable([&] { return "Couldn't set permissions for " + name.string(); });
}

} // namespace Core::KELP
