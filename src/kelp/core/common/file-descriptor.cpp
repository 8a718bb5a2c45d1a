#include "kelp/core/common/file-descriptor.h"

#include "kelp/core/common/error.h"

#include <unistd.h>

namespace Common {

FileDescriptor::FileDescriptor(FileDescriptor &&other) noexcept : file_(other.release()) {}

FileDescriptor &FileDescriptor::operator=(FileDescriptor &&other) noexcept {
    std::swap(file_, other.file_);
    return *this;
}

FileDescriptor::~FileDescriptor() {
    if (file_ >= 0)
        ::close(file_);
}

void FileDescriptor::close() {
    if (::close(release()) != 0)
        throw Error(ErrorCode::Filesystem, "Couldn't finish writing a file");
}

} // namespace Common
