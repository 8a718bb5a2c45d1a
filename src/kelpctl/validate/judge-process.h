#pragma once

#include "kelpctl/validate/package-judge.h"

namespace KelpCtl {

/// Judges the packages that come by a channel, one after the other, and gives the reports back, until the
/// other side closes it, or a signal asks for an end. Never returns: the process is one that was forked for
/// this, and ends without touching what it has in common with the one that it was forked from.
[[noreturn]] void judgeForOther(int channel, const JudgeOptions &options);

} // namespace KelpCtl
