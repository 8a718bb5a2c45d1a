#pragma once

#include <string>

#include <sys/stat.h>

namespace Validator {

/// What the system says of the unpacked file at `path`, links followed. Raises ErrorCode::Filesystem
/// "Couldn't look at file: PATH" when it says nothing, also when nothing is there: a file that nobody can
/// look at is neither sound nor its maker's fault.
struct stat statusOf(const std::string &path);

} // namespace Validator
