#pragma once

#include "kelp/core/kelp/validator/framework/checker.h"

#include <string>
#include <string_view>

namespace Validator {

class RpmMeta;

// Where a program finds libraries.

/// A folder in which a package may ship libraries for its main binary. Its path has the name of the package
/// between the two.
struct LibraryFolder {
    std::string_view area;
    std::string_view folder;
};

inline constexpr std::string_view shareArea = "/usr/share/";
inline constexpr std::string_view thirdPartyArea = "/usr/lib/3rdparty/";
inline constexpr LibraryFolder libraryFolders[] = {
    {shareArea, "/lib/"},
    {shareArea, "/libs/"},
    {shareArea, "/lib/qmlplugins/"},
    {shareArea, "/libs/qmlplugins/"},
    {thirdPartyArea, "/"},
    {thirdPartyArea, "/lib/"},
    {thirdPartyArea, "/qmlplugins/"},
    {thirdPartyArea, "/lib/qmlplugins/"},
};

/// Whether each directory of an rpath, a list joined by ":", lies where a package of that name or the system
/// may have libraries. White space around a directory does not count; an empty directory is ignored.
bool isAllowedRpath(std::string_view rpath, const std::string &package);

/// Whether a package ships a library of that file name in one of its own directories of libraries.
/// `shareDirectory` is the system's directory of packages' data, with its final slash. Takes constant time.
bool isShippedLibrary(std::string_view library, const RpmMeta &package, const std::string &shareDirectory);

/// Appends the places where programs may look for libraries, and where packages may ship them.
void appendLibraryRules(Rules &rules);

} // namespace Validator
