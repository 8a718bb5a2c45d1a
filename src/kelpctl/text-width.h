#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace KelpCtl {

/// How many columns of a terminal a text takes, without sequences for colours: letters of East Asia take two,
/// marks over other letters none.
std::size_t columnsOf(std::string_view text);

/// Breaks the lines of a text so that none is wider than `width` columns, where its words allow: at blanks,
/// and between letters that stand without blanks. A word in ASCII stays whole, as it may be a path that is to
/// be copied. What continues a line is indented as that is; in a table, where two blanks part the columns, as
/// the last column.
std::string wrapped(std::string_view text, std::size_t width);

} // namespace KelpCtl
