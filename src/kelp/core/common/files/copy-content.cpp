#include "kelp/core/common/files/copy.h"

#include "kelp/core/common/files/file-descriptor.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <unistd.h>

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

/// The bits that a copy may have: to run as somebody is the owner's to give, and the copy has another.
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
    // Opened first and asked about then, so that bits and content are those of one file, whatever happens to
    // the path.
    // What has become a pipe since somebody looked must not keep us waiting.
    const FileDescriptor source = openFile(from, O_RDONLY | O_NONBLOCK | O_NOCTTY);
    struct stat original = {};
    requireDone(::fstat(source.get(), &original), from, to);
    // O_EXCL follows no link: what others may have put at the path is not written to.
    FileDescriptor target = openFile(to, O_WRONLY | O_CREAT | O_EXCL, 0600);
    transfer(source, target, from, to);
    struct stat copy = {};
    requireDone(::fstat(target.get(), &copy), from, to);
    // When the content is there: until then others cannot see half of it, nor run it with somebody's rights.
    // The umask has no say in it.
    requireDone(::fchmod(target.get(), permissionsForCopy(original, copy)), from, to);
    // Some filesystems say only now that there was no room.
    target.close();
}

} // namespace Common
