#include "png-image.h"

#include <zlib.h>

#include <stdexcept>

namespace {

std::string bigEndian(std::uint32_t value) {
    return {static_cast<char>(value >> 24), static_cast<char>(value >> 16), static_cast<char>(value >> 8),
            static_cast<char>(value)};
}

const Bytef *bytes(std::string_view text) {
    return reinterpret_cast<const Bytef *>(text.data());
}

} // namespace

std::string pngSignature() {
    return "\x89PNG\r\n\x1a\n";
}

std::string pngChunk(std::string_view type, std::string_view data) {
    const std::string content = std::string(type) + std::string(data);
    const auto sum = static_cast<std::uint32_t>(crc32(0, bytes(content), static_cast<uInt>(content.size())));
    return bigEndian(static_cast<std::uint32_t>(data.size())) + content + bigEndian(sum);
}

std::string pngHeader(std::uint32_t width, std::uint32_t height) {
    return pngChunk("IHDR", bigEndian(width) + bigEndian(height) + std::string("\x08\0\0\0\0", 5));
}

std::string pngImage(std::uint32_t width, std::uint32_t height) {
    return pngSignature() + pngHeader(width, height) + pngChunk("IDAT", "no pixels") + pngChunk("IEND", "");
}

std::string deflated(std::string_view data) {
    std::string result(compressBound(data.size()), '\0');
    uLongf size = result.size();
    if (compress(reinterpret_cast<Bytef *>(result.data()), &size, bytes(data), data.size()) != Z_OK)
        throw std::runtime_error("zlib failed");
    result.resize(size);
    return result;
}
