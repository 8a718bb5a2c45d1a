#include "kelpctl/validate/run/whole-io.h"

#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace KelpCtl {

namespace {

/// How many bytes a call has moved; none when a signal came first.
std::size_t moved(ssize_t result, const char *what) {
    if (result < 0 && errno != EINTR)
        throw std::system_error(errno, std::generic_category(), what);
    return result < 0 ? 0 : static_cast<std::size_t>(result);
}

} // namespace

void writeWhole(int file, std::string_view bytes) {
    while (!bytes.empty())
        bytes.remove_prefix(moved(::write(file, bytes.data(), bytes.size()), "Couldn't write"));
}

std::string readSome(int file, std::size_t most) {
    std::string bytes(most, '\0');
    ssize_t result = 0;
    do {
        result = ::read(file, bytes.data(), bytes.size());
    } while (result < 0 && errno == EINTR);
    bytes.resize(moved(result, "Couldn't read"));
    return bytes;
}

} // namespace KelpCtl
