#pragma once

#include <optional>
#include <string_view>

namespace Validator {

/// Takes the first character off a text of UTF-8, which is not empty. From invalid bytes it takes one, and
/// gives nothing.
std::optional<char32_t> takeCodePoint(std::string_view &text);

/// Whether a character controls a terminal or a line of text instead of being shown: C0, DEL, C1.
constexpr bool isControl(char32_t character) {
    return character < 0x20 || (character >= 0x7f && character <= 0x9f);
}

/// Whether a text is UTF-8 without such characters.
bool isOneLine(std::string_view text);

} // namespace Validator
