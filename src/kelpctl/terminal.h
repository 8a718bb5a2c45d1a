#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <string_view>

namespace KelpCtl {

enum class ColourChoice {
    Auto, ///< On a terminal, unless the environment variable NO_COLOR holds anything.
    Always,
    Never
};

enum class Style { Plain, Bold, Red, Yellow, Green };

/// Sets the user's choice, for the whole program.
void setColour(ColourChoice choice);

/// Whether to colour the output of the file descriptor.
bool isColoured(int file);

/// The text in a style if the file descriptor is coloured. Does not escape it: see shown-text.h.
std::string styled(std::string_view text, Style style, int file);

/// Columns of the file descriptor's terminal; 80 when it is no terminal.
std::size_t terminalWidth(int file);

/// A line on standard error with the progress of a package, if that is a terminal and the package takes
/// longer than a second. It is erased at the end.
class Progress {
public:
    /// With `isAlone` false it shows nothing: several would mix.
    Progress(std::string name, std::size_t total, bool isAlone = true);
    Progress(const Progress &) = delete;
    Progress &operator=(const Progress &) = delete;
    ~Progress();

    void step();

private:
    using Clock = std::chrono::steady_clock;

    std::string name_;
    std::size_t total_;
    std::size_t done_ = 0;
    bool isSeen_;
    bool isShown_ = false;
    Clock::time_point next_;
};

} // namespace KelpCtl
