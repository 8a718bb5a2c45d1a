#pragma once

#include "kelp/core/kelp/validator/framework/rule.h"

#include <string>
#include <string_view>

namespace Validator {

class RpmMeta;

// Where a program finds libraries.

/// Whether each directory of an rpath, a list joined by ":", lies where a package of that name may have its
/// libraries. White space around a directory does not count, and an empty directory is none.
bool isAllowedRpath(std::string_view rpath, const std::string &package);

/// Whether a package ships the library of that file name in one of the directories in which it may have
/// libraries of its own. `shareDirectory` is where the system keeps the data of packages, with its final
/// slash. Takes the same time whatever the size of the package.
bool isShippedLibrary(std::string_view library, const RpmMeta &package, const std::string &shareDirectory);

/// Appends where a program of a package may look for libraries, and where a package may ship them.
void appendLibraryRules(Rules &rules);

} // namespace Validator
