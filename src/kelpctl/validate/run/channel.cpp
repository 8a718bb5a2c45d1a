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

} // namespace

std::string packFrame(Frame::Kind kind, std::string_view bytes) {
    const Intro intro{static_cast<std::uint32_t>(kind), static_cast<std::uint32_t>(bytes.size())};
    if (intro.size != bytes.size())
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
    if (intro.kind > static_cast<std::uint32_t>(Frame::Kind::Done))
        throw std::runtime_error("The judge's answer is malformed");
    if (bytes_.size() - sizeof intro < intro.size)
        return std::nullopt;
    Frame frame{static_cast<Frame::Kind>(intro.kind), bytes_.substr(sizeof intro, intro.size)};
    bytes_.erase(0, sizeof intro + intro.size);
    return frame;
}

} // namespace KelpCtl
