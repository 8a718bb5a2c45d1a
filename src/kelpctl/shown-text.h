#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace KelpCtl {

/// Foreign text made safe for people: on one line, and without characters that a terminal obeys or that
/// change the order of reading. Control characters and invalid UTF-8 become "\xNN", other such characters
/// "\u{NNNN}", and a backslash "\\", so that no text looks like the escape of another.
std::string shown(std::string_view text);

/// Text for a JSON string, which must be UTF-8: invalid bytes become U+FFFD.
std::string jsonText(std::string_view text);

/// "1 file", "2 files".
std::string counted(std::uintmax_t count, const std::string &noun);

} // namespace KelpCtl
