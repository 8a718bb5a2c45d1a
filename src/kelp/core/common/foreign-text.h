#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace Common {

// Foreign text, made fit for the names and the lines of our own files.

/// Whether a foreign text can be the name of one directory entry and one line of a text file. It must be a
/// single path component of at most 255 bytes, neither "." nor "..", of printable characters in well-formed
/// UTF-8. Control characters, line ends and most invisible marks, such as those of direction or of no width,
/// do not count as printable. A package chooses its own name and those of its organisation and application.
/// Root makes directories and lines of descriptors from these names: any other text could lead elsewhere or
/// add lines.
bool isFileName(const std::string &text);

/// The text if it is such a name; any other counts as absent.
std::optional<std::string> asFileName(std::string text);

// A text as one line of a file: a line feed is written as "\n" and a backslash as "\\", everything else as it
// is.

std::string escapeLine(std::string_view text);

/// The text again. A backslash before anything else stays as it is.
std::string unescapeLine(std::string_view line);

// The same for a text that is one word of a line: a blank is written as "\s" too.

std::string escapeWord(std::string_view text);
std::string unescapeWord(std::string_view word);

} // namespace Common
