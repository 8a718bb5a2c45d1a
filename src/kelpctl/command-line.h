#pragma once

#include "kelpctl/command.h"

#include <span>
#include <variant>

namespace KelpCtl {

/// What the command line asks for of the commands, or the exit status when it asks only for help or is wrong;
/// the text about it is on standard output or standard error by then.
std::variant<Command, ExitStatus> parseCommandLine(int argc, const char *const *argv,
                                                   std::span<const AddCommand> commands);

} // namespace KelpCtl
