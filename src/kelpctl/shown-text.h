#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace KelpCtl {

/// Foreign text made safe for people: on one line, and without characters that a terminal obeys or that
/// change the order of reading. ASCII control characters and bytes that are no UTF-8 become "\xNN". Other
/// unsafe characters become "\u{NNNN}". A backslash becomes "\\", so that no text looks like the escape of
/// another.
std::string shown(std::string_view text);

/// Text for a JSON string, which must be UTF-8: invalid bytes become U+FFFD.
std::string jsonText(std::string_view text);

/// "1 file", "2 files".
std::string counted(std::uintmax_t count, const std::string &noun);

/// The columns that a text without colour sequences takes on a terminal. East Asian letters take two,
/// combining marks none.
std::size_t columnsOf(std::string_view text);

/// Breaks the lines of a text so that each is at most `width` columns wide, if its words allow that. Breaks
/// at blanks, and between letters of scripts without blanks. An ASCII word stays whole, since it may be a
/// path to be copied. Further lines are indented like the first one. Two blanks within a line count as the
/// gap between columns of a table: its further lines are indented like the last column.
std::string wrapped(std::string_view text, std::size_t width);

} // namespace KelpCtl
