#include "kelpctl/shown-text.h"

#include <glib.h>

#include <algorithm>
#include <cstdio>
#include <memory>

namespace KelpCtl {

namespace {

struct Range {
    gunichar first;
    gunichar last;
};

/// Characters beyond ASCII that end lines, control terminals, or change the direction of reading.
constexpr Range hiddenRanges[] = {{0x80, 0x9f},     {0x61c, 0x61c},   {0x200e, 0x200f},
                                  {0x2028, 0x202e}, {0x2066, 0x2069}, {0xfeff, 0xfeff}};

bool isHidden(gunichar character) {
    return std::ranges::any_of(hiddenRanges, [&](const Range &range) {
        return character >= range.first && character <= range.last;
    });
}

std::string escape(const char *format, unsigned value) {
    char text[16];
    std::snprintf(text, sizeof text, format, value);
    return text;
}

/// One character of `size` bytes, or one byte that belongs to none.
std::string shownCharacter(gunichar character, std::string_view bytes) {
    // A backslash of the text is doubled, so that no name can look like the escape of another.
    const auto first = static_cast<unsigned char>(bytes.front());
    if (first == '\\')
        return "\\\\";
    if (first < ' ' || first == 0x7f || (bytes.size() == 1 && first > 0x7f))
        return escape("\\x%02x", first);
    return isHidden(character) ? escape("\\u{%04x}", character) : std::string(bytes);
}

} // namespace

std::string shown(std::string_view text) {
    std::string result;
    while (!text.empty()) {
        // GLib takes a NUL for the end.
        const gunichar character =
            text.front() == '\0' ? 0
                                 : g_utf8_get_char_validated(text.data(), static_cast<gssize>(text.size()));
        // GLib's two failures are numbers beyond all characters. Then one byte is taken, and the next may
        // begin a character.
        const bool isValid = character < 0x110000;
        const auto size =
            isValid ? static_cast<std::size_t>(g_unichar_to_utf8(character, nullptr)) : std::size_t(1);
        result += shownCharacter(character, text.substr(0, size));
        text.remove_prefix(size);
    }
    return result;
}

/// With a given size GLib takes a NUL as an invalid byte, which cannot end the text early.
std::string jsonText(std::string_view text) {
    const std::unique_ptr<char, decltype(&g_free)> valid(
        g_utf8_make_valid(text.data(), static_cast<gssize>(text.size())), g_free);
    return valid.get();
}

std::string counted(std::uintmax_t count, const std::string &noun) {
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

} // namespace KelpCtl
