#pragma once

#include "kelpctl/command.h"

#include <variant>

namespace KelpCtl {

/// What the command line asks for, or the exit status when it asks only for help or is wrong; the text about
/// it is on standard output or standard error by then.
std::variant<Command, ExitStatus> parseCommandLine(int argc, const char *const *argv);

} // namespace KelpCtl
