#include "kelp/core/common/files/copy.h"

#include "kelp/core/common/errors/reraise-as.h"
#include "kelp/core/common/files/directory.h"
#include "kelp/core/common/files/extended-attributes.h"
#include "kelp/core/common/files/file-descriptor.h"
#include "kelp/core/common/files/filesystem.h"
#include "kelp/core/common/files/path-tests.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include <linux/fs.h>

#include <cerrno>
#include <vector>

namespace fs = std::filesystem;

namespace Common {

namespace {

FileDescriptor openFile(const fs::path &path, int flags, mode_t mode = 0) {
    FileDescriptor file(::open(path.c_str(), flags | O_CLOEXEC, mode));
    if (file.get() < 0)
        throw fs::filesystem_error("cannot open", path, std::error_code(errno, std::system_category()));
    return file;
}

void requireDone(ssize_t result, const fs::path &from, const fs::path &to) {
    if (result < 0)
        throw fs::filesystem_error("cannot copy file", from, to,
                                   std::error_code(errno, std::system_category()));
}

/// For filesystems that cannot be copied from within the kernel.
void copyByHand(const FileDescriptor &source, const FileDescriptor &target, const fs::path &from,
                const fs::path &to) {
    std::vector<char> buffer(128U << 10);
    for (ssize_t size; (size = ::read(source.get(), buffer.data(), buffer.size())) != 0;) {
        requireDone(size, from, to);
        for (ssize_t done = 0, written; done < size; done += written) {
            written = ::write(target.get(), buffer.data() + done, static_cast<std::size_t>(size - done));
            requireDone(written, from, to);
        }
    }
}

void transfer(const FileDescriptor &source, const FileDescriptor &target, const fs::path &from,
              const fs::path &to) {
    // Where the filesystem shares blocks between files, a copy costs neither time nor space.
    if (::ioctl(target.get(), FICLONE, source.get()) == 0)
        return;
    constexpr std::size_t atOnce = 1 << 30;
    ssize_t copied;
    do
        copied = ::sendfile(target.get(), source.get(), nullptr, atOnce);
    while (copied > 0);
    if (copied < 0 && (errno == EINVAL || errno == ENOSYS))
        // Both files stand where the kernel stopped.
        copyByHand(source, target, from, to);
    else
        requireDone(copied, from, to);
}

/// The bits that a copy may have: not set-id bits if its owner differs, since only the owner may grant them.
mode_t permissionsForCopy(const struct stat &original, const struct stat &copy) {
    mode_t permissions = original.st_mode & 07777;
    if (original.st_uid != copy.st_uid)
        permissions &= ~static_cast<mode_t>(S_ISUID | S_ISGID);
    if (original.st_gid != copy.st_gid)
        permissions &= ~static_cast<mode_t>(S_ISGID);
    return permissions;
}

} // namespace

void copyContent(const fs::path &from, const fs::path &to) {
    // Opened first and stat'ed then, so that bits and content come from one file, even if the path changes.
    // O_NONBLOCK: the file may have become a pipe since the last look.
    const FileDescriptor source = openFile(from, O_RDONLY | O_NONBLOCK | O_NOCTTY);
    struct stat original = {};
    requireDone(::fstat(source.get(), &original), from, to);
    // O_EXCL follows no link: what others may have put at the path is not written to.
    FileDescriptor target = openFile(to, O_WRONLY | O_CREAT | O_EXCL, 0600);
    transfer(source, target, from, to);
    struct stat copy = {};
    requireDone(::fstat(target.get(), &copy), from, to);
    // After the content: until then nobody else can read half of it, or run it with the owner's rights.
    // fchmod ignores the umask.
    requireDone(::fchmod(target.get(), permissionsForCopy(original, copy)), from, to);
    // Some filesystems report a full disk only at the close.
    target.close();
}

} // namespace Common

namespace fs = std::filesystem;

namespace Common {

namespace {

Error copyError(const std::string &words, const fs::path &from, const fs::path &to,
                const std::string &reason = {}) {
    return {ErrorCode::Filesystem, words + from.string() + " to " + to.string() + reason};
}

/// Runs `fill`, which fills `made`. If that throws, removes `made` and rethrows.
template<class Fill>
void orCleanup(const char *kind, const fs::path &made, const Fill &fill) {
    try {
        fill();
    } catch (...) {
        try {
            removeAll(made);
        } catch (const Error &) {
            LogStream(LogLevel::Warning) << "Couldn't cleanup bad copied " << kind << ": " << made;
        }
        // The caller gets the first failure.
        throw;
    }
}

/// The path at which a copy is made, and its name in texts. They differ when it is reached by an open
/// directory: that path leads through /proc.
struct Place {
    fs::path path;
    fs::path name;
};

/// PackageOutline predicts copied links by the same rule: change both together.
bool pointsBesideItself(const std::string &target) {
    return !target.empty() && target.front() != '.' && target.front() != '/';
}

bool recreateLink(const std::string &target, const fs::path &from, const Place &to) {
    try {
        fs::create_directories(to.path.parent_path());
        fs::create_symlink(target, to.path);
        return true;
    } catch (const std::exception &) {
        // Misspelt, like the texts below: people search logs for these words.
        LogStream(LogLevel::Warning) << "Coulnd't copy symlink " << from << " to " << to.name;
        return false;
    }
}

void requireFreePlace(const fs::path &from, const Place &to) {
    if (!Common::exists(from))
        throw copyError("Couldn't copy ", from, to.name, " (path " + from.string() + " doesn't exists)");
    if (Common::exists(to.path))
        throw copyError("Couldn't copy ", from, to.name, " (path already exists)");
}

void copyFileTo(const fs::path &from, const Place &to) {
    if (!isRegularFile(from))
        throw Error(ErrorCode::Filesystem,
                    "Attempt to copy file, but " + from.string() + " is not regular file");
    reraiseAs(
        ErrorCode::Filesystem, "Coulnd't copy file " + from.string() + " to " + to.name.string(),
        [&] {
            fs::create_directories(to.path.parent_path());
            copyContent(from, to.path);
        },
        LogLevel::Warning);
    // A copy without its attributes would pass for a file that never had a signature.
    orCleanup("file", to.path, [&] {
        for (const auto &[name, value] : extendedAttributes(from))
            setExtendedAttribute(to.path, name, value);
    });
}

/// Copies a link as a link, or calls `copyTarget` with its target.
template<class CopyTarget>
void copySymlinkOr(const fs::path &from, const Place &to, const CopyTarget &copyTarget) {
    const std::string target = readSymlink(from).string();
    if (pointsBesideItself(target)) {
        if (recreateLink(target, from, to))
            return;
    } else {
        LogStream(LogLevel::Warning) << "Symlink target is not in the same directory: " << from << " -> "
                                     << to.name;
    }
    LogStream(LogLevel::Info) << "Trying to copy content of the symlink target";
    // Unresolved: a relative text counts from the working directory. Links of a stored version are absolute
    // here (resolveLink()), except one that could not be made as a link.
    copyTarget(target);
}

} // namespace

void copy(const fs::path &from, const fs::path &to) {
    requireFreePlace(from, {to, to});
    if (isSymlink(from))
        copySymlink(from, to);
    else if (isRegularFile(from))
        copyFile(from, to);
    else if (isDirectory(from))
        copyDirectory(from, to);
    else
        throw Error(ErrorCode::Filesystem, "Couldn't copy unsupported filesystem entry " + from.string());
}

void copyInOneStep(const fs::path &from, const Directory &directory, const std::string &name,
                   const std::function<void(const fs::path &)> &finish) {
    const Place to{directory.reach(name), directory.path() / name};
    requireFreePlace(from, to);
    const auto copyFileInOneStep = [&](const fs::path &file) {
        const Place unfinished{directory.reach(unfinishedCopyName), to.name};
        // A kill left it: publishing holds the writers' lock, so no other copy is under way.
        directory.removeFile(unfinishedCopyName);
        orCleanup("file", unfinished.path, [&] {
            copyFileTo(file, unfinished);
            finish(unfinished.path);
            // A file that has appeared at the target since the look stays (Directory::move()).
            if (!directory.move(unfinishedCopyName, directory, name))
                throw copyError("Couldn't copy ", from, to.name, " (path already exists)");
        });
    };
    if (isSymlink(from))
        copySymlinkOr(from, to, copyFileInOneStep);
    else
        copyFileInOneStep(from);
}

void copyFile(const fs::path &from, const fs::path &to) {
    copyFileTo(from, {to, to});
}

void copySymlink(const fs::path &from, const fs::path &to) {
    if (!isSymlink(from))
        throw Error(ErrorCode::Filesystem,
                    "Attempt to copy symlink, but " + from.string() + " is not symlink");
    copySymlinkOr(from, {to, to}, [&](const fs::path &target) { copyFile(target, to); });
}

void copyDirectory(const fs::path &from, const fs::path &to) {
    if (!isDirectory(from))
        throw Error(ErrorCode::Filesystem,
                    "Attempt to copy directory, but " + from.string() + " is not directory");
    try {
        fs::create_directories(to);
    } catch (const std::exception &) {
        throw copyError("Coulnd't copy directory ", from, to);
    }
    // Otherwise a part of a tree would pass for the whole.
    orCleanup("directory", to, [&] {
        for (const fs::path &entry : listDirectory(from))
            Common::copy(entry, to / entry.filename());
    });
}

} // namespace Common
