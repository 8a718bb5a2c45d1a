#include "kelp/core/kelp/validator/program/shipped-library.h"

#include "kelp/core/kelp/validator/framework/rpm-meta.h"

#include <algorithm>
#include <span>

namespace Validator {

namespace {

constexpr std::string_view thirdPartyDirectory = "/usr/lib/3rdparty/";
/// Few places by full paths, and not a search for the name: a program may need thousands of libraries, and a
/// package have fifty thousand files.
constexpr std::string_view shareFolders[] = {"lib/", "libs/", "lib/qmlplugins/", "libs/qmlplugins/"};
constexpr std::string_view thirdPartyFolders[] = {"", "lib/", "qmlplugins/", "lib/qmlplugins/"};

bool isIn(const std::string &area, std::span<const std::string_view> folders, std::string_view library,
          const RpmMeta &package) {
    return std::ranges::any_of(folders, [&](std::string_view folder) {
        std::string path = area;
        path += folder;
        path += library;
        return package.holds(path);
    });
}

} // namespace

bool isShippedLibrary(std::string_view library, const RpmMeta &package, const std::string &shareDirectory) {
    // By the list of files, as the library may be unpacked behind the program that needs it.
    const std::string own = package.name() + '/';
    return isIn(shareDirectory + own, shareFolders, library, package) ||
           isIn(std::string(thirdPartyDirectory) + own, thirdPartyFolders, library, package);
}

} // namespace Validator
