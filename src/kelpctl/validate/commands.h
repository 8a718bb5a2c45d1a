#pragma once

#include "kelpctl/command.h"

namespace KelpCtl {

// The commands for makers of packages.

void addValidate(CLI::App &app, Command &command);
void addExplain(CLI::App &app, Command &command);
void addRules(CLI::App &app, Command &command);

} // namespace KelpCtl
