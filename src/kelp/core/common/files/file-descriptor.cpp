#include "kelp/core/common/files/file-descriptor.h"

#include "kelp/core/common/errors/error.h"

#include <linux/openat2.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace Common {

FileDescriptor::FileDescriptor(FileDescriptor &&other) noexcept : file_(other.release()) {}

FileDescriptor &FileDescriptor::operator=(FileDescriptor &&other) noexcept {
    // What was open here closes with the other.
    std::swap(file_, other.file_);
    return *this;
}

FileDescriptor::~FileDescriptor() {
    if (file_ >= 0)
        ::close(file_);
}

void FileDescriptor::close() {
    // Given up first: Linux closes it even when it reports an error, and the number may be another file's by
    // then.
    if (::close(release()) != 0)
        throw Error(ErrorCode::Filesystem, "Couldn't finish writing a file");
}

FileDescriptor openBeneath(int directory, const std::filesystem::path &path, int flags) {
    open_how how{};
    how.flags = static_cast<unsigned>(flags);
    how.resolve = RESOLVE_BENEATH | RESOLVE_NO_SYMLINKS | RESOLVE_NO_MAGICLINKS;
    // The C library has no function for it.
    return FileDescriptor(
        static_cast<int>(::syscall(SYS_openat2, directory, path.c_str(), &how, sizeof how)));
}

} // namespace Common
