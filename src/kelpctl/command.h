#pragma once

#include "kelpctl/exit-status.h"

#include <functional>
#include <iosfwd>

namespace CLI {
class App;
}

namespace KelpCtl {

/// What the command line asks for. Its results go to the stream that it is given, which is standard output;
/// std::cout itself leads to standard error meanwhile, as the core logs there. What it raises ends the
/// program with its text and ExitStatus::Trouble.
using Command = std::function<ExitStatus(std::ostream &output)>;

/// Adds one subcommand to the command line, and has it set `command` when it is the one that was asked for.
using AddCommand = void (*)(CLI::App &app, Command &command);

} // namespace KelpCtl
