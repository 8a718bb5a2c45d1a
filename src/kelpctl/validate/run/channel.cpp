#include "kelpctl/validate/run/channel.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <system_error>

namespace KelpCtl {

namespace {

struct Intro {
    std::uint32_t kind;
    std::uint32_t size;
};

} // namespace

std::string packFrame(Frame::Kind kind, std::string_view bytes) {
    const Intro intro{static_cast<std::uint32_t>(kind), static_cast<std::uint32_t>(bytes.size())};
    if (bytes.size() > longestFrame)
        throw std::runtime_error("The report is too long");
    std::string frame(sizeof intro, '\0');
    std::memcpy(frame.data(), &intro, sizeof intro);
    return frame.append(bytes);
}

void writeFrame(int file, Frame::Kind kind, std::string_view bytes) {
    writeWhole(file, packFrame(kind, bytes));
}

std::optional<Frame> FrameReader::next() {
    Intro intro{};
    if (bytes_.size() < sizeof intro)
        return std::nullopt;
    std::memcpy(&intro, bytes_.data(), sizeof intro);
    // A hostile package may have taken over its judge, which would fill the memory here.
    if (intro.kind > static_cast<std::uint32_t>(Frame::Kind::Done) || intro.size > longestFrame)
        throw std::runtime_error("The judge's answer is malformed");
    if (bytes_.size() - sizeof intro < intro.size)
        return std::nullopt;
    Frame frame{static_cast<Frame::Kind>(intro.kind), bytes_.substr(sizeof intro, intro.size)};
    bytes_.erase(0, sizeof intro + intro.size);
    return frame;
}

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
