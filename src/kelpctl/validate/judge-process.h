#pragma once

#include "kelpctl/validate/package-judge.h"

namespace KelpCtl {

/// Judges the packages that another process names through `channel`, one after the other, and sends the
/// reports back. Ends when the other side closes the channel, after a signal, or at a failure. Never returns:
/// the process was forked for this, and ends without flushing the buffers that it has inherited.
[[noreturn]] void judgeForOther(int channel, const JudgeOptions &options);

} // namespace KelpCtl
