#include "kelp/core/kelp/validator/program/library-places.h"

#include "kelp/core/kelp/validator/framework/rpm-meta.h"
#include "kelp/core/kelp/validator/framework/text.h"

#include <algorithm>
#include <array>
#include <span>

namespace Validator {

namespace {

using Places = std::array<std::string, 6>;

/// The package's own directories of libraries, and the two where the loader looks by itself.
Places placesOf(const std::string &package) {
    return {"$ORIGIN/../share/" + package + "/lib",
            "/usr/share/" + package + "/lib",
            "/usr/share/" + package + "/libs",
            "/usr/lib/3rdparty/" + package,
            "/usr/lib",
            "/usr/lib64"};
}

std::string_view trimmed(std::string_view text) {
    takeLeading(text, isSpace);
    while (!text.empty() && isSpace(text.back()))
        text.remove_suffix(1);
    return text;
}

bool isAllowed(std::string_view directory, const Places &places) {
    return std::ranges::any_of(places, [&](const std::string &place) {
        // Up to a slash or the end: "/usr/libfoo" is no directory in "/usr/lib".
        return directory.starts_with(place) &&
               (directory.size() == place.size() || directory[place.size()] == '/');
    });
}

constexpr std::string_view thirdPartyDirectory = "/usr/lib/3rdparty/";
/// A few full paths instead of a search for the name: a program may need thousands of libraries, and a
/// package may have fifty thousand files.
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

bool isAllowedRpath(std::string_view rpath, const std::string &package) {
    const Places places = placesOf(package);
    while (!rpath.empty()) {
        const std::string_view directory = trimmed(takeLeading(rpath, [](char c) { return c != ':'; }));
        rpath.remove_prefix(rpath.empty() ? 0 : 1);
        if (!directory.empty() && !isAllowed(directory, places))
            return false;
    }
    return true;
}

bool isShippedLibrary(std::string_view library, const RpmMeta &package, const std::string &shareDirectory) {
    // By the list of files: the library may be unpacked after its program.
    const std::string own = package.name() + '/';
    return isIn(shareDirectory + own, shareFolders, library, package) ||
           isIn(std::string(thirdPartyDirectory) + own, thirdPartyFolders, library, package);
}

void appendLibraryRules(Rules &rules) {
    appendRules(rules, "rpath", "allowed", placesOf("ID"));
    for (const std::string_view folder : shareFolders)
        rules.push_back({"library", "shipped", "/usr/share/ID/" + std::string(folder) + "*"});
    for (const std::string_view folder : thirdPartyFolders)
        rules.push_back(
            {"library", "shipped", std::string(thirdPartyDirectory) + "ID/" + std::string(folder) + "*"});
}

} // namespace Validator
