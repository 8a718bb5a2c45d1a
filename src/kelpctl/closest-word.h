#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace KelpCtl {

/// The word that was probably meant by `word`: the one with the fewest letters left out, added, replaced, or
/// exchanged with the next one. An abbreviation counts as one such mistake. Empty when none is close, or for
/// a word of more than a hundred bytes; the first of equally close ones.
std::string closestWord(std::string_view word, const std::vector<std::string> &words);

/// The same as "; did you mean WORD?", or "".
std::string suggestion(std::string_view word, const std::vector<std::string> &words);

} // namespace KelpCtl
