#pragma once

#include <optional>
#include <string_view>
#include <vector>

namespace Validator {

/// Cuts a text into the values at its top level, comments and a "var x =" with them, as json-glib's scanner
/// sees it: strings in single quotes know no escapes, and comments stand between "/*" and "*/" or "/" and
/// "/". Says nothing about whether json-glib takes the pieces.
///
/// Empty for a text that nests deeper than 512 levels or has more than a thousand pieces: json-glib recurses
/// for each level without end, and loses the memory of all roots but the first of a text.
std::optional<std::vector<std::string_view>> splitJsonRoots(std::string_view text);

} // namespace Validator
