#include "kelpctl/terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

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

} // namespace

void setColour(ColourChoice choice) {
    chosen = choice;
}

bool isColoured(int file) {
    if (chosen != ColourChoice::Auto)
        return chosen == ColourChoice::Always;
    // The environment counts only without a choice on the command line: "always" wins.
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
    // A serial line knows no width and says zero.
    return ::ioctl(file, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : usualWidth;
}

} // namespace KelpCtl
