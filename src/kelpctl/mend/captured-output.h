#pragma once

#include <functional>
#include <string>

namespace KelpCtl {

/// All that `run` writes to standard output and standard error, by whatever means: libraries write there by
/// themselves. What is written is no terminal meanwhile. Raises std::system_error when the machine fails, and
/// what `run` raises.
std::string capturedOutput(const std::function<void()> &run);

} // namespace KelpCtl
