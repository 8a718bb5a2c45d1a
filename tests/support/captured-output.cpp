#include "support/captured-output.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <iostream>
#include <stdexcept>

namespace {

void flushStreams() {
    std::cout.flush();
    std::cerr.flush();
    std::fflush(nullptr);
}

} // namespace

CapturedOutput::CapturedOutput(Stream stream) :
    stream_(static_cast<int>(stream)),
    original_(::dup(stream_)),
    file_(::memfd_create("captured", MFD_CLOEXEC)) {
    flushStreams();
    if (original_ < 0 || file_ < 0 || ::dup2(file_, stream_) < 0)
        throw std::runtime_error("cannot capture a standard stream");
}

CapturedOutput::~CapturedOutput() {
    flushStreams();
    ::dup2(original_, stream_);
    ::close(original_);
    ::close(file_);
}

std::string CapturedOutput::take() {
    flushStreams();
    std::string text(static_cast<std::size_t>(::lseek(file_, 0, SEEK_END)), '\0');
    if (::pread(file_, text.data(), text.size(), 0) != static_cast<ssize_t>(text.size()) ||
        ::ftruncate(file_, 0) < 0)
        throw std::runtime_error("cannot read a captured stream");
    ::lseek(file_, 0, SEEK_SET);
    return text;
}
