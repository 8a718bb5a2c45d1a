#include "kelpctl/validate/run/spool.h"

#include "kelpctl/validate/run/channel.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <utility>

namespace KelpCtl {

namespace {

constexpr std::size_t mostInMemory = 0x10000;

[[noreturn]] void raise() {
    throw std::system_error(errno, std::generic_category(), "Couldn't keep a report for later");
}

Common::FileDescriptor namelessFile() {
    const std::string directory = std::filesystem::temp_directory_path();
    Common::FileDescriptor file(::open(directory.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600));
    // As on NFS, and on the overlay of a container on a kernel before 6.1. A kill in between leaves an empty
    // file.
    if (file.get() < 0 && errno == EOPNOTSUPP) {
        std::string name = directory + "/kelpctl-report-XXXXXX";
        file = Common::FileDescriptor(::mkostemp(name.data(), O_CLOEXEC));
        if (file.get() >= 0)
            ::unlink(name.c_str());
    }
    if (file.get() < 0)
        raise();
    return file;
}

} // namespace

void Spool::append(std::string_view bytes) {
    memory_ += bytes;
    if (memory_.size() > mostInMemory)
        spill();
}

void Spool::spill() {
    if (file_.get() < 0)
        file_ = namelessFile();
    writeWhole(file_.get(), memory_);
    written_ += std::exchange(memory_, {}).size();
}

std::string Spool::take(std::size_t most) {
    std::string bytes;
    if (taken_ < written_) {
        bytes.resize(std::min<std::uint64_t>(most, written_ - taken_));
        const ssize_t got = ::pread(file_.get(), bytes.data(), bytes.size(), static_cast<off_t>(taken_));
        if (got <= 0)
            raise();
        bytes.resize(static_cast<std::size_t>(got));
    } else {
        bytes = memory_.substr(std::min<std::uint64_t>(memory_.size(), taken_ - written_), most);
    }
    taken_ += bytes.size();
    return bytes;
}

} // namespace KelpCtl
