#include "kelpctl/mend/captured-output.h"

#include "kelp/core/common/files/file-descriptor.h"

#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <iostream>
#include <system_error>

namespace KelpCtl {

namespace {

using Common::FileDescriptor;

FileDescriptor opened(int file) {
    if (file < 0)
        throw std::system_error(errno, std::system_category(), "Couldn't collect output");
    return FileDescriptor(file);
}

void flushAll() {
    std::cout.flush();
    std::cerr.flush();
    std::fflush(nullptr);
}

/// Sends both streams to a file while it lives.
class Diversion {
public:
    explicit Diversion(int file) : streams_{opened(::dup(STDOUT_FILENO)), opened(::dup(STDERR_FILENO))} {
        flushAll();
        ::dup2(file, STDOUT_FILENO);
        ::dup2(file, STDERR_FILENO);
    }
    Diversion(const Diversion &) = delete;
    Diversion &operator=(const Diversion &) = delete;
    ~Diversion() {
        flushAll();
        ::dup2(streams_[0].get(), STDOUT_FILENO);
        ::dup2(streams_[1].get(), STDERR_FILENO);
    }

private:
    std::array<FileDescriptor, 2> streams_;
};

} // namespace

std::string capturedOutput(const std::function<void()> &run) {
    const FileDescriptor file = opened(::memfd_create("kelpctl-report", MFD_CLOEXEC));
    {
        const Diversion diversion(file.get());
        run();
    }
    std::string text;
    std::array<char, 65536> block{};
    ssize_t size = 0;
    off_t from = 0;
    while ((size = ::pread(file.get(), block.data(), block.size(), from)) > 0) {
        text.append(block.data(), static_cast<std::size_t>(size));
        from += size;
    }
    return text;
}

} // namespace KelpCtl
