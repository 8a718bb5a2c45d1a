#pragma once

#include <initializer_list>
#include <string_view>

namespace Validator {

/// Whether the text begins with the pieces one after the other.
constexpr bool beginsWith(std::string_view text, std::initializer_list<std::string_view> pieces) {
    for (const std::string_view piece : pieces) {
        if (!text.starts_with(piece))
            return false;
        text.remove_prefix(piece.size());
    }
    return true;
}

} // namespace Validator
