#include "kelp/core/kelp/validator/framework/mapped-file.h"

#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/files/file-descriptor.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>

#include <optional>
#include <utility>

namespace Validator {

namespace {

using Common::Error;
using Common::ErrorCode;
using Common::FileDescriptor;

/// The size when this is an open regular file.
std::optional<off_t> fileSize(const FileDescriptor &file) {
    // Of the open file and not of its path, so that what was looked at is what is mapped.
    struct stat status;
    if (file.get() < 0 || ::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode))
        return std::nullopt;
    return status.st_size;
}

/// All of the file. Fails for one that the address space of a small device cannot hold: judged by its first
/// part, or as an empty one, it would have its rest slip past every checker.
std::string_view map(const FileDescriptor &file, off_t size, const std::filesystem::path &path) {
    const auto length = static_cast<std::size_t>(size);
    void *address = std::cmp_equal(length, size)
                        ? ::mmap(nullptr, length, PROT_READ, MAP_PRIVATE, file.get(), 0)
                        : MAP_FAILED;
    if (address == MAP_FAILED)
        throw Error(ErrorCode::Filesystem, "Couldn't map file: " + path.string());
    return {static_cast<const char *>(address), length};
}

} // namespace

std::shared_ptr<const MappedFile> MappedFile::open(const std::filesystem::path &path) {
    // Without O_NONBLOCK the open itself would wait for a pipe's writer.
    const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    const auto size = fileSize(file);
    if (!size)
        return nullptr;
    // No system maps zero bytes.
    const std::string_view bytes = *size == 0 ? std::string_view() : map(file, *size, path);
    return std::shared_ptr<const MappedFile>(new MappedFile(bytes));
}

MappedFile::~MappedFile() {
    if (!bytes_.empty())
        ::munmap(const_cast<char *>(bytes_.data()), bytes_.size());
}

} // namespace Validator
