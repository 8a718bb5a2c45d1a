#include "kelp/core/kelp/mending/publication-obstacle.h"

#include "kelp/core/common/files/path-tests.h"
#include "kelp/core/common/i-configuration.h"
#include "kelp/core/kelp/mappings/mapping-files.h"
#include "kelp/core/kelp/mappings/mapping-table.h"
#include "kelp/core/kelp/package/database-path-resolver.h"
#include "kelp/core/kelp/publication/publication-plan.h"

#include <unistd.h>

#include <cerrno>
#include <set>
#include <system_error>

namespace fs = std::filesystem;

namespace Core::KELP {

namespace {

/// The place itself, or the directory above it that is there.
fs::path existingPart(fs::path path) {
    while (!Common::isThere(path) && path.has_relative_path())
        path = path.parent_path();
    return path;
}

/// By now, by whatever version of the package.
bool isPublishedBy(const fs::path &current, const PlannedFile &file) {
    return isMappingOf(file.target, file.source) || isCopiedLinkOf(file.target, file.source) ||
           (isMapping(file.target) &&
            mappingTarget(file.target).native().starts_with(current.native() + '/'));
}

/// Why nothing can be made in a directory, or above it where it is not there.
std::string obstacleAbove(const fs::path &directory) {
    const fs::path existing = existingPart(directory);
    std::error_code error;
    if (!fs::is_directory(existing, error))
        return existing.string() + " is no directory";
    // Root may write everywhere but on a filesystem that is read-only.
    if (::access(existing.c_str(), W_OK) != 0)
        return existing.string() + ": " + std::generic_category().message(errno);
    return {};
}

} // namespace

std::string publicationObstacle(const IConfiguration &configuration, const fs::path &tree,
                                const PackageInformation &information) {
    const auto value = [&](const char *key) { return valueOf(information, key); };
    const std::string id = value("general.id").value_or("");
    const fs::path current = fs::absolute(DatabasePathResolver(configuration).currentDirectory(id));
    const auto mappings = buildMappings(id, value("certificate.id").value_or(""), value("general.orgname"),
                                        value("general.appname"), Rooted::Yes);
    std::set<fs::path> parents;
    for (const PlannedFile &file : planPublication(tree, current, mappings, DanglingLinks::Count).files) {
        if (Common::isThere(file.target) && !isPublishedBy(current, file))
            return file.target.string() + " is somebody else's";
        parents.insert(file.target.parent_path());
    }
    for (const fs::path &parent : parents)
        if (std::string obstacle = obstacleAbove(parent); !obstacle.empty())
            return obstacle;
    return {};
}

} // namespace Core::KELP
