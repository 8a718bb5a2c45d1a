#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace KelpCtl {

/// A text in which each path below one of the directories `homes` is "<home>": the names of people's files
/// are nobody's business. Where a path ends cannot be told from its text, as names have blanks in them: it
/// ends at a quotation mark, before ": ", ", ", "; " and " -> ", and with its line. Rather too much is left
/// out than too little.
std::string withoutHomes(std::string_view text, const std::vector<std::string> &homes);

} // namespace KelpCtl
