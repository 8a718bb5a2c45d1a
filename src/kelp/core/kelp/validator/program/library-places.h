#pragma once

#include "kelp/core/kelp/validator/framework/checker.h"

#include <string>
#include <string_view>

namespace Validator {

class RpmMeta;

// Where a program finds libraries.

/// Whether each directory of an rpath, a list joined by ":", lies where a package of that name may have its
/// libraries. White space around a directory does not count; an empty directory is ignored.
bool isAllowedRpath(std::string_view rpath, const std::string &package);

/// Whether a package ships a library of that file name in one of its own directories of libraries.
/// `shareDirectory` is the system's directory of packages' data, with its final slash. Takes constant time.
bool isShippedLibrary(std::string_view library, const RpmMeta &package, const std::string &shareDirectory);

/// Appends the places where programs may look for libraries, and where packages may ship them.
void appendLibraryRules(Rules &rules);

} // namespace Validator
