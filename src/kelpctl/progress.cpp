#include "kelpctl/progress.h"

#include "kelpctl/shown-text.h"

#include <unistd.h>

namespace KelpCtl {

namespace {

/// Small packages are judged by then, and a line that flashes up tells nobody anything.
constexpr auto patience = std::chrono::seconds(1);
constexpr auto interval = std::chrono::milliseconds(100);
constexpr const char *eraseLine = "\r\033[K";

/// Not by std::cerr, which leads nowhere while a package is judged.
void write(const std::string &text) {
    // A terminal that does not take the line has lost nothing.
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
    // In a log each step would be a line of its own.
    if (!isSeen_ || Clock::now() < next_)
        return;
    next_ = Clock::now() + interval;
    isShown_ = true;
    write(eraseLine + shown(name_) + ": " + std::to_string(done_) + " of " + std::to_string(total_) +
          " files");
}

} // namespace KelpCtl
