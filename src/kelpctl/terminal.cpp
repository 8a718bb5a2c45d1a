#include "kelpctl/terminal.h"

#include "kelpctl/shown-text.h"

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

namespace {

/// Small packages are judged by then; a line that flashes up would be useless.
constexpr auto patience = std::chrono::seconds(1);
constexpr auto interval = std::chrono::milliseconds(100);
constexpr const char *eraseLine = "\r\033[K";

/// Not by std::cerr, which is silenced while a package is judged.
void write(const std::string &text) {
    // A lost line does no harm.
    [[maybe_unused]] const ssize_t written = ::write(STDERR_FILENO, text.data(), text.size());
}

} // namespace

Progress::Progress(std::string name, std::size_t total, bool isAlone) :
    name_(std::move(name)),
    total_(total),
    isSeen_(isAlone && ::isatty(STDERR_FILENO) != 0),
    next_(Clock::now() + patience) {}

Progress::~Progress() {
    if (isShown_)
        write(eraseLine);
}

void Progress::step() {
    ++done_;
    // Not in a log, where each step would be a line of its own.
    if (!isSeen_ || Clock::now() < next_)
        return;
    next_ = Clock::now() + interval;
    isShown_ = true;
    write(eraseLine + shown(name_) + ": " + std::to_string(done_) + " of " + std::to_string(total_) +
          " files");
}

} // namespace KelpCtl
