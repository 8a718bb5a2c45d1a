#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace KelpCtl {

/// What goes between the run and one of its judges, in frames: a kind, a size, and as many bytes.
struct Frame {
    enum class Kind : std::uint32_t {
        Task,    ///< To the judge: the package file.
        Digest,  ///< Of the package file, asked about before it is judged.
        Unknown, ///< To the judge, in answer: the profiles without a verdict, a line each.
        Lines,   ///< Of the report that comes next.
        Report,
        Done ///< There is no more of the package.
    };

    Kind kind;
    std::string bytes = {};
};

std::string packFrame(Frame::Kind kind, std::string_view bytes);

/// Writes a frame to a file, waiting for room. Raises std::system_error.
void writeFrame(int file, Frame::Kind kind, std::string_view bytes = {});

/// The frames in bytes that come piece by piece.
class FrameReader {
public:
    void add(std::string_view bytes) { bytes_ += bytes; }

    /// The next frame, when all of it is here. Raises std::runtime_error for one of an unknown kind.
    std::optional<Frame> next();

private:
    std::string bytes_;
};

} // namespace KelpCtl
