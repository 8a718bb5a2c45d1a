#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace KelpCtl {

/// Writes all bytes, however many calls that takes. Raises std::system_error.
void writeWhole(int file, std::string_view bytes);

/// Reads the available bytes, `most` at most; nothing at the end. Raises std::system_error.
std::string readSome(int file, std::size_t most);

} // namespace KelpCtl
