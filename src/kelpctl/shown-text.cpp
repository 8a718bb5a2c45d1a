#include "kelpctl/shown-text.h"

#include <glib.h>
#include <unicode/ubrk.h>
#include <unicode/uchar.h>
#include <unicode/utext.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <memory>
#include <vector>

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

namespace {

template<auto release>
struct Release {
    template<class Object>
    void operator()(Object *object) const {
        release(object);
    }
};

// ICU's macro narrows from int in its own arithmetic.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wconversion"
/// Takes the next character off a text; negative for an invalid byte.
UChar32 takeCharacter(std::string_view &text) {
    const auto size = static_cast<std::int32_t>(std::min<std::size_t>(text.size(), U8_MAX_LENGTH));
    std::int32_t end = 0;
    UChar32 character = U_SENTINEL;
    const auto *bytes = reinterpret_cast<const std::uint8_t *>(text.data());
    U8_NEXT(bytes, end, size, character);
    text.remove_prefix(static_cast<std::size_t>(end));
    return character;
}
#pragma GCC diagnostic pop

std::size_t columnsOfCharacter(UChar32 character) {
    const auto type = u_charType(character);
    if (type == U_NON_SPACING_MARK || type == U_ENCLOSING_MARK || type == U_FORMAT_CHAR)
        return 0;
    const int width = u_getIntPropertyValue(character, UCHAR_EAST_ASIAN_WIDTH);
    return width == U_EA_WIDE || width == U_EA_FULLWIDTH ? 2 : 1;
}

bool isAscii(char c) {
    return static_cast<unsigned char>(c) < 0x80;
}

/// Where the text of the line begins; in a table, the text of its last column.
std::size_t indentOf(std::string_view line) {
    const std::size_t gap = line.rfind("  ");
    return gap == std::string_view::npos ? 0 : std::min(gap + 2, line.size());
}

/// Where ICU lets a line be broken, by bytes.
std::vector<bool> opportunitiesOf(std::string_view line) {
    std::vector<bool> opportunities(line.size() + 1);
    UErrorCode error = U_ZERO_ERROR;
    const std::unique_ptr<UText, Release<utext_close>> text(
        utext_openUTF8(nullptr, line.data(), static_cast<std::int64_t>(line.size()), &error));
    const std::unique_ptr<UBreakIterator, Release<ubrk_close>> iterator(
        ubrk_open(UBRK_LINE, "", nullptr, 0, &error));
    ubrk_setUText(iterator.get(), text.get(), &error);
    for (std::int32_t at = 0; U_SUCCESS(error) && (at = ubrk_next(iterator.get())) != UBRK_DONE;)
        opportunities[static_cast<std::size_t>(at)] = true;
    return opportunities;
}

/// Where the line may be broken, the end last. At all blanks: ICU would keep a path together with the word
/// before it, as if its slash belonged to that.
std::vector<std::size_t> breaksOf(std::string_view line) {
    const std::vector<bool> opportunities = opportunitiesOf(line);
    std::vector<std::size_t> breaks;
    for (std::size_t end = 1; end < line.size(); ++end) {
        const bool isBlank = line[end - 1] == ' ' && line[end] != ' ';
        if (isBlank || (opportunities[end] && !isAscii(line[end - 1]) && !isAscii(line[end])))
            breaks.push_back(end);
    }
    breaks.push_back(line.size());
    return breaks;
}

std::string_view withoutBlanks(std::string_view piece) {
    return piece.substr(0, piece.find_last_not_of(' ') + 1);
}

std::string wrappedLine(std::string_view line, std::size_t width) {
    // ICU counts in 32 bits.
    if (columnsOf(line) <= width || line.size() > std::numeric_limits<std::int32_t>::max())
        return std::string(line);
    const std::size_t indent = indentOf(line);
    const std::string blanks(columnsOf(line.substr(0, indent)), ' ');
    std::string result;
    std::size_t columns = 0;
    std::size_t begin = 0;
    for (const std::size_t end : breaksOf(line)) {
        // A break within the indent would not shorten the rest.
        if (end <= indent && end < line.size())
            continue;
        const std::string_view piece = line.substr(begin, end - begin);
        if (columns > blanks.size() && columns + columnsOf(withoutBlanks(piece)) > width) {
            result.erase(result.find_last_not_of(' ') + 1);
            result += '\n' + blanks;
            columns = blanks.size();
        }
        result += piece;
        columns += columnsOf(piece);
        begin = end;
    }
    return result;
}

} // namespace

std::size_t columnsOf(std::string_view text) {
    std::size_t columns = 0;
    while (!text.empty())
        columns += columnsOfCharacter(takeCharacter(text));
    return columns;
}

std::string wrapped(std::string_view text, std::size_t width) {
    std::string result;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        result += wrappedLine(text.substr(0, end), width);
        if (end < text.size())
            result += '\n';
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return result;
}

} // namespace KelpCtl
