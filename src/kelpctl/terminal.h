#pragma once

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

} // namespace KelpCtl
