#include "kelp/core/kelp/validator/program/library-places.h"

#include "kelp/core/kelp/validator/framework/rpm-meta.h"
#include "kelp/core/kelp/validator/framework/text.h"

#include <algorithm>
#include <array>

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

bool isAllowed(std::string_view directory, const Places &places) {
    return std::ranges::any_of(places, [&](const std::string &place) {
        // Up to a slash or the end: "/usr/libfoo" is no directory in "/usr/lib".
        return directory.starts_with(place) &&
               (directory.size() == place.size() || directory[place.size()] == '/');
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
    // By the list of files: the library may be unpacked after its program. And by full paths instead of a
    // search for the name: a program may need thousands of libraries, of fifty thousand files.
    return std::ranges::any_of(libraryFolders, [&](const LibraryFolder &place) {
        std::string path(place.area == shareArea ? shareDirectory : place.area);
        path += package.name();
        path += place.folder;
        path += library;
        return package.holds(path);
    });
}

void appendLibraryRules(Rules &rules) {
    appendRules(rules, "rpath", "allowed", placesOf("ID"));
    for (const auto &[area, folder] : libraryFolders)
        rules.push_back({"library", "shipped", std::string(area) + "ID" + std::string(folder) + "*"});
}

} // namespace Validator
