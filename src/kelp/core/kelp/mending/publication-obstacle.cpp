#include "kelp/core/kelp/mending/publication-obstacle.h"

#include "kelp/core/common/files/path-tests.h"
#include "kelp/core/common/i-configuration.h"
#include "kelp/core/kelp/mappings/mapping-files.h"
#include "kelp/core/kelp/package/database-path-resolver.h"
#include "kelp/core/kelp/package/descriptor.h"
#include "kelp/core/kelp/publication/publication-plan.h"
#include "kelp/core/kelp/publication/target-places.h"

namespace fs = std::filesystem;

namespace Core::KELP {

namespace {

/// Now, by any version of the package whose link `current` is.
bool isPublished(const PlannedFile &file, const fs::path &current) {
    return isMappingBelow(file.target, current) || isCopiedLinkOf(file.target, file.source);
}

/// The owner of the file at a target, if it is a link or copy of a package in the store.
std::string ownershipOf(const fs::path &target, const fs::path &store) {
    const auto source = findMapping(target);
    const fs::path inStore = source ? source->lexically_relative(fs::absolute(store)) : fs::path();
    if (inStore.empty() || *inStore.begin() == ".." || *inStore.begin() == ".")
        return " is somebody else's";
    return " belongs to " + inStore.begin()->string();
}

} // namespace

std::string publicationObstacle(const IConfiguration &configuration, const fs::path &tree,
                                const PackageInformation &information) {
    const std::string id = valueOf(information, "general.id").value_or("");
    const fs::path current = fs::absolute(DatabasePathResolver(configuration).currentDirectory(id));
    TargetPlaces places;
    for (const PlannedFile &file :
         planPublication(tree, current, publicationRows(information), DanglingLinks::Count).files) {
        if (Common::isThere(file.target) && !isPublished(file, current))
            return file.target + ownershipOf(file.target, configuration.databaseDirectory());
        if (std::string obstacle = places.obstacle(file.target); !obstacle.empty())
            return obstacle;
    }
    return {};
}

} // namespace Core::KELP
