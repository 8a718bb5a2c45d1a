#pragma once

#include <string>
#include <string_view>

namespace Validator {

/// Whether a piece of an rpath leads out of the package's own directories and the system's directories of
/// libraries, by the loader's rules for the file at `path`. An empty or relative piece does: it leads to
/// where the program was started.
bool leavesLibraries(std::string_view piece, std::string_view path, const std::string &package);

} // namespace Validator
