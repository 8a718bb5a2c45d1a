#include "kelpctl/terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>

namespace KelpCtl {

namespace {

constexpr std::size_t usualWidth = 80;

ColourChoice chosen = ColourChoice::Auto;

const char *sequenceOf(Style style) {
    switch (style) {
    case Style::Bold:
        return "\033[1m";
    case Style::Red:
        return "\033[31m";
    case Style::Yellow:
        return "\033[33m";
    case Style::Green:
        return "\033[32m";
    case Style::Plain:
        break;
    }
    return "";
}

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

void setColour(ColourChoice choice) {
    chosen = choice;
}

bool isColoured(int file) {
    if (chosen != ColourChoice::Auto)
        return chosen == ColourChoice::Always;
    // Of the environment only where the command line leaves it open: who writes "always" means it.
    const char *refusal = std::getenv("NO_COLOR");
    return (refusal == nullptr || *refusal == '\0') && ::isatty(file) != 0;
}

std::string styled(std::string_view text, Style style, int file) {
    if (style == Style::Plain || !isColoured(file))
        return std::string(text);
    return sequenceOf(style) + std::string(text) + "\033[m";
}

std::size_t terminalWidth(int file) {
    winsize size{};
    // A serial line is a terminal that knows no width and says zero.
    return ::ioctl(file, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : usualWidth;
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
