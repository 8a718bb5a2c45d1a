#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace KelpCtl {

/// The columns that a text without colour sequences takes on a terminal. East Asian letters take two,
/// combining marks none.
std::size_t columnsOf(std::string_view text);

/// Breaks the lines of a text so that none is wider than `width` columns, where its words allow: at blanks,
/// and between letters of scripts without blanks. An ASCII word stays whole: it may be a path to be copied.
/// Further lines are indented like the first; in a table, whose columns are two blanks apart, like the last
/// column.
std::string wrapped(std::string_view text, std::size_t width);

} // namespace KelpCtl
