#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace KelpCtl {

/// Foreign text as people may see it: on one line, and without anything that a terminal would obey or that
/// would change the order of what is read. Control characters and bytes that are no UTF-8 become "\xNN",
/// other characters of that kind "\u{NNNN}", and a backslash "\\", so that no text looks like the escape of
/// another.
std::string shown(std::string_view text);

/// Text for a JSON string, which has to be UTF-8: bytes that belong to no character become U+FFFD.
std::string jsonText(std::string_view text);

/// "1 file", "2 files".
std::string counted(std::uintmax_t count, const std::string &noun);

} // namespace KelpCtl
