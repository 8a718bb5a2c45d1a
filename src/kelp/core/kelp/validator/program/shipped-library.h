#pragma once

#include <string>
#include <string_view>

namespace Validator {

class RpmMeta;

/// Whether a package ships the library of that file name in one of the directories in which it may have
/// libraries of its own. `shareDirectory` is where the system keeps the data of packages, with its final
/// slash. Takes the same time whatever the size of the package.
bool isShippedLibrary(std::string_view library, const RpmMeta &package, const std::string &shareDirectory);

} // namespace Validator
