#pragma once

#include "kelpctl/command.h"

namespace KelpCtl {

// The commands that look at a machine and change nothing. Each adds one subcommand, as those of command.h do.

void addStatus(CLI::App &app, Command &command);
void addPlan(CLI::App &app, Command &command);
void addList(CLI::App &app, Command &command);
void addInfo(CLI::App &app, Command &command);
void addFiles(CLI::App &app, Command &command);
void addOwner(CLI::App &app, Command &command);
void addHistory(CLI::App &app, Command &command);
void addVerify(CLI::App &app, Command &command);
void addSources(CLI::App &app, Command &command);

} // namespace KelpCtl
