#pragma once

#include <cstdint>
#include <filesystem>
#include <string_view>

namespace Validator {

/// The dimensions of an image, in pixels.
struct PngSize {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
};

// Both read a PNG (RFC 2083) up to the beginning of its image data and decode nothing: neither the claimed
// dimensions nor a compressed profile or comment costs memory. The data before the image must be sound; the
// rest is ignored.

/// The dimensions of the PNG file at `path`. Raises ErrorCode::Internal, "Failed to read PNG icon: " and the
/// reason, for a file that is no PNG, and as MappedFile::open() does for one that cannot be read.
PngSize readPngSize(const std::filesystem::path &path);

/// The dimensions of a PNG given as a data URL (RFC 2397). Raises ErrorCode::InvalidArguments: "The icon has
/// an unsupported format" when the text does not begin with "data:image/png;base64,", else "Failed to read
/// PNG icon from base64: " and the reason.
PngSize readPngSizeFromDataUrl(std::string_view url);

} // namespace Validator
