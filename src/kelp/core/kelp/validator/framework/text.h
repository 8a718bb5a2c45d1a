#pragma once

#include <algorithm>
#include <cstddef>
#include <initializer_list>
#include <string_view>

namespace Validator {

// The character classes of the classic locale, for text out of a package; a byte above 127 is in none. The
// standard library's own functions are undefined for such a byte in a signed char.

constexpr bool isSpace(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}
constexpr bool isDigit(char c) {
    return c >= '0' && c <= '9';
}
constexpr bool isAlpha(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

/// The longest beginning of `text` that holds only characters of the class.
template<class Class>
constexpr std::string_view leading(std::string_view text, Class isInClass) {
    std::size_t size = 0;
    while (size < text.size() && isInClass(text[size]))
        ++size;
    return text.substr(0, size);
}

/// Takes that beginning off `text` and returns it.
template<class Class>
constexpr std::string_view takeLeading(std::string_view &text, Class isInClass) {
    const std::string_view taken = leading(text, isInClass);
    text.remove_prefix(taken.size());
    return taken;
}

/// The text without the white space around it.
constexpr std::string_view trimmed(std::string_view text) {
    takeLeading(text, isSpace);
    while (!text.empty() && isSpace(text.back()))
        text.remove_suffix(1);
    return text;
}

/// Whether the text begins with the pieces one after the other.
constexpr bool beginsWith(std::string_view text, std::initializer_list<std::string_view> pieces) {
    for (const std::string_view piece : pieces) {
        if (!text.starts_with(piece))
            return false;
        text.remove_prefix(piece.size());
    }
    return true;
}

/// Whether a name is made of at least `fewestParts` parts with a full stop between each two, none of them
/// empty. A package needs three parts, an organisation two.
constexpr bool isReverseDomain(std::string_view name, std::ptrdiff_t fewestParts) {
    return std::ranges::count(name, '.') >= fewestParts - 1 && !name.starts_with('.') &&
           !name.ends_with('.') && name.find("..") == std::string_view::npos;
}

} // namespace Validator
