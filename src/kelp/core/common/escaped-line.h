#pragma once

#include <string>
#include <string_view>

namespace Common {

// A text as one line of a file: a line feed is written as "\n" and a backslash as "\\", everything else as it
// is.

std::string escapeLine(std::string_view text);

/// The text again. A backslash before anything else stays as it is.
std::string unescapeLine(std::string_view line);

} // namespace Common
