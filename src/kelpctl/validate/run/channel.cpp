#include "kelpctl/validate/run/channel.h"

#include "kelpctl/validate/run/whole-io.h"

#include <cstring>
#include <stdexcept>

namespace KelpCtl {

namespace {

struct Intro {
    std::uint32_t kind;
    std::uint32_t size;
};

/// In bytes, more than any report has.
constexpr std::size_t longest = std::size_t(64) << 20;

} // namespace

std::string packFrame(Frame::Kind kind, std::string_view bytes) {
    const Intro intro{static_cast<std::uint32_t>(kind), static_cast<std::uint32_t>(bytes.size())};
    if (bytes.size() > longest)
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
    if (intro.kind > static_cast<std::uint32_t>(Frame::Kind::Done) || intro.size > longest)
        throw std::runtime_error("The judge's answer is malformed");
    if (bytes_.size() - sizeof intro < intro.size)
        return std::nullopt;
    Frame frame{static_cast<Frame::Kind>(intro.kind), bytes_.substr(sizeof intro, intro.size)};
    bytes_.erase(0, sizeof intro + intro.size);
    return frame;
}

} // namespace KelpCtl
