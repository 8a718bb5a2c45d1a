#pragma once

#include <string>

#include <sys/stat.h>

namespace Validator {

/// The status of the unpacked file at `path`, links followed. Raises ErrorCode::Filesystem "Couldn't look at
/// file: PATH" when the look fails, also for a missing file: that is neither sound nor the maker's fault.
struct stat statusOf(const std::string &path);

} // namespace Validator
