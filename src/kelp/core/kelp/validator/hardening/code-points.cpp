#include "kelp/core/kelp/validator/hardening/code-points.h"

#include <boost/locale/utf.hpp>

namespace Validator {

std::optional<char32_t> takeCodePoint(std::string_view &text) {
    namespace utf = boost::locale::utf;
    const auto *position = text.data();
    const utf::code_point character = utf::utf_traits<char>::decode(position, text.data() + text.size());
    const bool isValid = utf::is_valid_codepoint(character);
    // The decoder also takes the byte that showed the error, which may be a control character.
    text.remove_prefix(isValid ? static_cast<std::size_t>(position - text.data()) : 1);
    return isValid ? std::optional<char32_t>(character) : std::nullopt;
}

bool isOneLine(std::string_view text) {
    while (!text.empty())
        if (const auto character = takeCodePoint(text); !character || isControl(*character))
            return false;
    return true;
}

} // namespace Validator
