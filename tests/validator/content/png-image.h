#pragma once

#include <cstdint>
#include <string>
#include <string_view>

/// The signature of a PNG file.
std::string pngSignature();

/// A chunk with its length and check sum.
std::string pngChunk(std::string_view type, std::string_view data);

/// The header chunk of an image of 8-bit grey pixels.
std::string pngHeader(std::uint32_t width, std::uint32_t height);

/// A whole black image; only the header is right when the claimed size is larger than a few thousand pixels.
std::string pngImage(std::uint32_t width, std::uint32_t height);

/// `data` as zlib deflates it.
std::string deflated(std::string_view data);
