#pragma once

#include <string>
#include <string_view>

namespace Validator {

/// Whether a piece of an rpath leads elsewhere than to the package's own directories and the system's
/// directories of libraries, as the loader finds it for the file at `path`: also one that is empty or
/// relative, which leads to wherever the program was started.
bool leavesLibraries(std::string_view piece, std::string_view path, const std::string &package);

} // namespace Validator
