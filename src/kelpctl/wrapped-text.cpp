#include "kelpctl/wrapped-text.h"

#include <algorithm>

namespace KelpCtl {

namespace {

constexpr auto none = std::string_view::npos;

/// Where the text of the line begins, in a table that of its last column.
std::size_t indentOf(std::string_view line) {
    const std::size_t gap = line.rfind("  ");
    return gap == none ? 0 : std::min(gap + 2, line.size());
}

/// Where to break a line that is too long; none when it cannot be.
/// Behind the indent in any case: a break within it would leave the rest as long as it was, without end.
std::size_t breakOf(std::string_view line, std::size_t indent, std::size_t width) {
    const std::size_t before = line.rfind(' ', width);
    if (before != none && before >= indent && line.find_first_not_of(' ') < before)
        return before;
    // A word that is wider than the terminal stays whole: it may be a path that is to be copied.
    return line.find(' ', std::max(width, indent));
}

std::string wrappedLine(std::string_view line, std::size_t width) {
    const std::size_t indent = indentOf(line);
    std::string result;
    std::string rest(line);
    while (rest.size() > width) {
        const std::size_t end = breakOf(rest, indent, width);
        if (end == none)
            break;
        result += rest.substr(0, end) + '\n';
        rest = std::string(indent, ' ') + rest.substr(end + 1);
    }
    return result + rest;
}

} // namespace

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
