#include "support/fuzz-file.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

FuzzFile::FuzzFile(const std::uint8_t *data, std::size_t size) :
    descriptor_(::memfd_create("fuzz", MFD_CLOEXEC)) {
    require(descriptor_ >= 0 && ::write(descriptor_, data, size) == static_cast<ssize_t>(size));
}

FuzzFile::~FuzzFile() {
    ::close(descriptor_);
}

std::filesystem::path FuzzFile::path() const {
    return "/proc/self/fd/" + std::to_string(descriptor_);
}

void require(bool holds) {
    if (!holds)
        std::abort();
}
