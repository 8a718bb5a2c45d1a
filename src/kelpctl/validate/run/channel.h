#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace KelpCtl {

/// A message between the run and one of its judges: a kind, a size, and that many bytes.
struct Frame {
    enum class Kind : std::uint32_t {
        Task,    ///< To the judge: the package file.
        Digest,  ///< Of the package file, sent before it is judged.
        Unknown, ///< To the judge, in answer: the profiles without a verdict, a line each.
        Lines,   ///< Of the report that comes next.
        Report,
        Done ///< The package is finished.
    };

    Kind kind;
    std::string bytes = {};
};

/// The most bytes of one frame; reports of sound packages have far fewer.
inline constexpr std::size_t longestFrame = std::size_t(64) << 20;

/// Raises std::runtime_error for more bytes than a frame can have.
std::string packFrame(Frame::Kind kind, std::string_view bytes);

/// Writes a frame to a file, waiting for room. Raises as packFrame() and writeWhole() do.
void writeFrame(int file, Frame::Kind kind, std::string_view bytes = {});

/// Splits bytes that come piece by piece into frames.
class FrameReader {
public:
    void add(std::string_view bytes) { bytes_ += bytes; }

    /// The next frame, once it is complete. Raises std::runtime_error for one of an unknown kind, or longer
    /// than any report.
    std::optional<Frame> next();

private:
    std::string bytes_;
};

/// Writes all bytes, however many calls that takes. Raises std::system_error.
void writeWhole(int file, std::string_view bytes);

/// Reads the available bytes, `most` at most; nothing at the end. Raises std::system_error.
std::string readSome(int file, std::size_t most);

} // namespace KelpCtl
