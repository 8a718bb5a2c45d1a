#include "kelp/core/kelp/validator/framework/mapped-file.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <optional>

namespace Validator {

namespace {

class Descriptor {
public:
    explicit Descriptor(const std::filesystem::path &path) :
        number_(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)) {}
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;
    ~Descriptor() {
        if (number_ >= 0)
            ::close(number_);
    }

    /// The size when this is an open regular file.
    std::optional<std::size_t> fileSize() const {
        struct stat status;
        if (number_ < 0 || ::fstat(number_, &status) != 0 || !S_ISREG(status.st_mode))
            return std::nullopt;
        return static_cast<std::size_t>(status.st_size);
    }

    /// All of the file, or an empty view.
    std::string_view map(std::size_t size) const {
        void *address = ::mmap(nullptr, size, PROT_READ, MAP_PRIVATE, number_, 0);
        return address == MAP_FAILED ? std::string_view()
                                     : std::string_view(static_cast<const char *>(address), size);
    }

private:
    int number_;
};

} // namespace

std::shared_ptr<const MappedFile> MappedFile::open(const std::filesystem::path &path) {
    const Descriptor descriptor(path);
    const auto size = descriptor.fileSize();
    if (!size)
        return nullptr;
    // No system maps zero bytes.
    const std::string_view bytes = *size == 0 ? std::string_view() : descriptor.map(*size);
    if (bytes.size() != *size)
        return nullptr;
    return std::shared_ptr<const MappedFile>(new MappedFile(bytes));
}

MappedFile::~MappedFile() {
    if (!bytes_.empty())
        ::munmap(const_cast<char *>(bytes_.data()), bytes_.size());
}

} // namespace Validator
