#include "kelp/core/kelp/validator/data/integrity-file.h"

#include <algorithm>

namespace Validator {

namespace {

constexpr std::size_t deepestNesting = 512;
constexpr std::size_t mostRoots = 1000;

/// After the next `end` from `from` on; the end of the text when there is none.
std::size_t behind(std::string_view text, std::string_view end, std::size_t from) {
    const std::size_t found = text.find(end, from);
    return found == std::string_view::npos ? text.size() : found + end.size();
}

/// A backslash includes the next character, which may be beyond the end of the text.
std::size_t behindEscapedString(std::string_view text, std::size_t from) {
    while (from < text.size() && text[from] != '"')
        from += text[from] == '\\' ? std::size_t(2) : 1;
    return std::min(from + 1, text.size());
}

/// After the string, the comment or the single character that begins at `from`.
/// Brackets in strings and comments must not count: they could end a value early, or hide how deep it is.
std::size_t behindToken(std::string_view text, std::size_t from) {
    switch (text[from]) {
    case '"':
        return behindEscapedString(text, from + 1);
    case '\'':
        return behind(text, "'", from + 1);
    case '/':
        return text.substr(from, 2) == "/*" ? behind(text, "*/", from + 2) : behind(text, "/", from + 1);
    default:
        return from + 1;
    }
}

/// After what may end a value, as in "var x = {};".
std::size_t behindEnd(std::string_view text, std::size_t from) {
    return std::min(text.find_first_not_of(" \t\r\n;", from), text.size());
}

} // namespace

std::optional<std::vector<std::string_view>> splitJsonRoots(std::string_view text) {
    std::vector<std::string_view> roots;
    std::size_t depth = 0;
    std::size_t begin = 0;
    // Both kinds of bracket count alike, and a surplus one is skipped: json-glib checks later whether they
    // match.
    for (std::size_t at = 0; at < text.size() && depth <= deepestNesting && roots.size() <= mostRoots;) {
        const char first = text[at];
        at = behindToken(text, at);
        if (first == '{' || first == '[')
            ++depth;
        if ((first != '}' && first != ']') || depth == 0 || --depth > 0)
            continue;
        at = behindEnd(text, at);
        roots.push_back(text.substr(begin, at - begin));
        begin = at;
    }
    if (depth > deepestNesting || roots.size() > mostRoots)
        return std::nullopt;
    if (begin < text.size())
        roots.push_back(text.substr(begin));
    return roots;
}

} // namespace Validator
