#pragma once

#include "kelpctl/command.h"
#include "kelpctl/look/machine.h"

#include <string>

namespace KelpCtl {

/// One look, with the arguments of the command line.
struct Look {
    Machine machine;
    std::string argument; ///< Empty if the command got none.
    bool isJson;
    std::ostream &output;
};

/// A command that looks at the machine, or at one thing on it.
struct LookCommand {
    using Run = ExitStatus (*)(const Look &look);
    enum class Argument { None, Optional, Required };

    const char *name;
    const char *description;
    Run run;
    Argument argument = Argument::None;
    const char *argumentName = "";
    const char *argumentDescription = "";
};

/// Adds it with the options of all such commands. The command raises as Machine and its `run` do, and
/// std::invalid_argument for an empty argument.
void addLookCommand(CLI::App &app, Command &command, const LookCommand &look);

} // namespace KelpCtl
