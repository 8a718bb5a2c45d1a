#pragma once

#include "kelpctl/command.h"

namespace KelpCtl {

// The commands that change a machine, or can: doctor and policy also only look, and report only makes its
// directory. Each adds one subcommand, as those of command.h do.

void addDoctor(CLI::App &app, Command &command);
void addPolicy(CLI::App &app, Command &command);
void addInstall(CLI::App &app, Command &command);
void addRemove(CLI::App &app, Command &command);
void addReport(CLI::App &app, Command &command);

} // namespace KelpCtl
