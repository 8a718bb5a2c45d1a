#include "kelp/core/common/foreign-text.h"

#include <boost/locale/utf.hpp>

#include <algorithm>
#include <climits>
#include <utility>

namespace Common {

namespace {

using Utf8 = boost::locale::utf::utf_traits<char>;
using CodePoint = boost::locale::utf::code_point;

/// Characters that are no mark on paper: controls, ends of lines, and what only directs other characters.
constexpr std::pair<CodePoint, CodePoint> unprintable[] = {
    {0x00, 0x1f},     {0x7f, 0x9f},     {0xad, 0xad},     {0x200b, 0x200f},
    {0x2028, 0x202e}, {0x2060, 0x206f}, {0xfeff, 0xfeff},
};

/// What is not valid UTF-8 decodes to values that are no code point.
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

} // namespace

bool isFileName(const std::string &text) {
    return !text.empty() && text != "." && text != ".." && text.size() <= NAME_MAX &&
           text.find('/') == std::string::npos && isPrintable(text);
}

std::optional<std::string> asFileName(std::string text) {
    return isFileName(text) ? std::optional(std::move(text)) : std::nullopt;
}

std::string escapeLine(std::string_view text) {
    std::string line;
    line.reserve(text.size());
    for (const char character : text) {
        if (character == '\n')
            line += "\\n";
        else if (character == '\\')
            line += "\\\\";
        else
            line += character;
    }
    return line;
}

std::string unescapeLine(std::string_view line) {
    std::string text;
    text.reserve(line.size());
    for (std::size_t i = 0; i < line.size(); ++i) {
        const bool escaped =
            line[i] == '\\' && i + 1 < line.size() && (line[i + 1] == 'n' || line[i + 1] == '\\');
        if (!escaped)
            text += line[i];
        else
            text += line[++i] == 'n' ? '\n' : '\\';
    }
    return text;
}

} // namespace Common
