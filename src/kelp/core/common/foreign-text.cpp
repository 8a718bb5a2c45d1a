#include "kelp/core/common/foreign-text.h"

#include <boost/locale/utf.hpp>

#include <algorithm>
#include <climits>
#include <utility>

namespace Common {

namespace {

using Utf8 = boost::locale::utf::utf_traits<char>;
using CodePoint = boost::locale::utf::code_point;

/// Most characters that print nothing: controls, ends of lines, and marks that only direct other characters.
constexpr std::pair<CodePoint, CodePoint> unprintable[] = {
    {0x00, 0x1f},     {0x7f, 0x9f},     {0xad, 0xad},     {0x61c, 0x61c},
    {0x200b, 0x200f}, {0x2028, 0x202e}, {0x2060, 0x206f}, {0xfeff, 0xfeff},
};

/// Invalid UTF-8 decodes to values that are no code point.
bool isPrintable(CodePoint character) {
    return boost::locale::utf::is_valid_codepoint(character) &&
           std::ranges::none_of(unprintable, [&](const auto &range) {
               return range.first <= character && character <= range.second;
           });
}

bool isPrintable(const std::string &text) {
    for (auto position = text.begin(); position != text.end();)
        if (!isPrintable(Utf8::decode(position, text.end())))
            return false;
    return true;
}

/// The escaped characters, and the letter for each after a backslash.
struct Escapes {
    std::string_view characters;
    std::string_view letters;
};

constexpr Escapes ofLine{"\n\\", "n\\"};
constexpr Escapes ofWord{"\n\\ ", "n\\s"};

std::string escape(std::string_view text, const Escapes &escapes) {
    std::string escaped;
    escaped.reserve(text.size());
    for (const char character : text) {
        const std::size_t found = escapes.characters.find(character);
        if (found == std::string_view::npos)
            escaped += character;
        else
            (escaped += '\\') += escapes.letters[found];
    }
    return escaped;
}

std::string unescape(std::string_view escaped, const Escapes &escapes) {
    // As it is for all but a few of the lines of long lists.
    if (escaped.find('\\') == std::string_view::npos)
        return std::string(escaped);
    std::string text;
    text.reserve(escaped.size());
    for (std::size_t i = 0; i < escaped.size(); ++i) {
        const std::size_t found = escaped[i] == '\\' && i + 1 < escaped.size()
                                      ? escapes.letters.find(escaped[i + 1])
                                      : std::string_view::npos;
        if (found == std::string_view::npos)
            text += escaped[i];
        else
            text += escapes.characters[found];
        i += found == std::string_view::npos ? 0 : 1;
    }
    return text;
}

} // namespace

bool isFileName(const std::string &text) {
    return !text.empty() && text != "." && text != ".." && text.size() <= NAME_MAX &&
           text.find('/') == std::string::npos && isPrintable(text);
}

std::optional<std::string> asFileName(std::string text) {
    return isFileName(text) ? std::optional(std::move(text)) : std::nullopt;
}

std::string escapeLine(std::string_view text) {
    return escape(text, ofLine);
}

std::string unescapeLine(std::string_view line) {
    return unescape(line, ofLine);
}

std::string escapeWord(std::string_view text) {
    return escape(text, ofWord);
}

std::string unescapeWord(std::string_view word) {
    return unescape(word, ofWord);
}

} // namespace Common
