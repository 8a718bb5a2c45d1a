#include "kelp/core/kelp/validator/framework/mapped-file.h"

#include "kelp/core/common/file-descriptor.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>

#include <optional>

namespace Validator {

namespace {

using Common::FileDescriptor;

/// The size when this is an open regular file.
std::optional<std::size_t> fileSize(const FileDescriptor &file) {
    // Of the open file and not of its path, so that what was looked at is what is mapped.
    struct stat status;
    if (file.get() < 0 || ::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode))
        return std::nullopt;
    return static_cast<std::size_t>(status.st_size);
}

/// All of the file, or an empty view.
std::string_view map(const FileDescriptor &file, std::size_t size) {
    void *address = ::mmap(nullptr, size, PROT_READ, MAP_PRIVATE, file.get(), 0);
    return address == MAP_FAILED ? std::string_view()
                                 : std::string_view(static_cast<const char *>(address), size);
}

} // namespace

std::shared_ptr<const MappedFile> MappedFile::open(const std::filesystem::path &path) {
    // Without O_NONBLOCK the open itself would wait for a pipe's writer.
    const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    const auto size = fileSize(file);
    if (!size)
        return nullptr;
    // No system maps zero bytes.
    const std::string_view bytes = *size == 0 ? std::string_view() : map(file, *size);
    // A mapping that failed must not pass for an empty file.
    if (bytes.size() != *size)
        return nullptr;
    return std::shared_ptr<const MappedFile>(new MappedFile(bytes));
}

MappedFile::~MappedFile() {
    if (!bytes_.empty())
        ::munmap(const_cast<char *>(bytes_.data()), bytes_.size());
}

} // namespace Validator
