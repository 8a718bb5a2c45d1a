#include "kelp/core/common/file-name.h"

#include <boost/locale/utf.hpp>

#include <climits>
#include <utility>

namespace Common {

namespace {

using Utf8 = boost::locale::utf::utf_traits<char>;
using CodePoint = boost::locale::utf::code_point;

/// What is not valid UTF-8 decodes to values that are no code point.
bool isPrintable(CodePoint character) {
    const bool isControl = character < 0x20 || (character >= 0x7f && character < 0xa0);
    const bool isLineEnd = character == 0x2028 || character == 0x2029;
    return boost::locale::utf::is_valid_codepoint(character) && !isControl && !isLineEnd;
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

} // namespace Common
