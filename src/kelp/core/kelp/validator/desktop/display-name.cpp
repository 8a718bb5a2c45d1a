#include "kelp/core/kelp/validator/desktop/desktop-checks.h"

#include <unicode/uchar.h>
#include <unicode/utf8.h>

#include <cstdint>
#include <limits>

namespace Validator {

namespace {

// ICU's macro narrows from int in its own arithmetic.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wconversion"
/// Decodes the character at `position` and moves behind it. Negative for what is not well-formed.
UChar32 nextCharacter(const std::uint8_t *text, std::int32_t &position, std::int32_t size) {
    UChar32 character = U_SENTINEL;
    U8_NEXT(text, position, size, character);
    return character;
}
#pragma GCC diagnostic pop

/// May stand between words, but a name of them alone would be invisible.
bool isBlank(UChar32 character) {
    return character == 0x20 || character == 0xa0;
}

/// Characters that show nothing, turn the direction or look different on each device could make a name look
/// like that of another application.
bool isVisible(UChar32 character) {
    switch (u_charType(character)) {
    case U_UNASSIGNED:
    case U_SPACE_SEPARATOR:
    case U_LINE_SEPARATOR:
    case U_PARAGRAPH_SEPARATOR:
    case U_CONTROL_CHAR:
    case U_FORMAT_CHAR:
    case U_PRIVATE_USE_CHAR:
    case U_SURROGATE:
        return false;
    default:
        return true;
    }
}

} // namespace

bool isDisplayName(std::string_view text) {
    // ICU counts bytes in 32 bits.
    if (text.size() > std::numeric_limits<std::int32_t>::max())
        return false;
    const auto size = static_cast<std::int32_t>(text.size());
    const auto *bytes = reinterpret_cast<const std::uint8_t *>(text.data());
    bool anyVisible = false;
    for (std::int32_t position = 0; position < size;) {
        const UChar32 character = nextCharacter(bytes, position, size);
        if (isBlank(character))
            continue;
        if (character < 0 || !isVisible(character))
            return false;
        anyVisible = true;
    }
    return anyVisible;
}

} // namespace Validator
