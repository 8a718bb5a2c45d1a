#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace KelpCtl {

/// Breaks the lines of a text at blanks so that none is longer than `width`, if its words allow. What
/// continues a line is indented as that is; in a table, where two blanks part the columns, as the last
/// column.
std::string wrapped(std::string_view text, std::size_t width);

} // namespace KelpCtl
