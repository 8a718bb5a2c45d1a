#pragma once

#include <string_view>

namespace Validator {

/// Whether a text can stand below an icon: well-formed UTF-8 with at least one character that is no blank,
/// and without control, format, separator, private and unassigned characters. U+0020 and U+00A0 are the two
/// blanks that it may hold.
bool isDisplayName(std::string_view text);

} // namespace Validator
