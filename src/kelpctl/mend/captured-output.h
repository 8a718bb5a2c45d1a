#pragma once

#include <functional>
#include <string>

namespace KelpCtl {

/// Everything that `run` writes to standard output and standard error, also through libraries. Meanwhile
/// neither is a terminal. Raises std::system_error when the machine fails, and what `run` raises.
std::string capturedOutput(const std::function<void()> &run);

} // namespace KelpCtl
