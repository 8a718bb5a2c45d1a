#include "kelpctl/progress.h"

#include "kelpctl/shown-text.h"

#include <unistd.h>

namespace KelpCtl {

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
