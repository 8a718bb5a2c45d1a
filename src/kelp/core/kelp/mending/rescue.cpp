#include "kelp/core/kelp/mending/rescue.h"

#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/files/durable-file.h"
#include "kelp/core/common/files/path-tests.h"
#include "kelp/core/common/i-configuration.h"
#include "kelp/core/kelp/package/contents-list.h"
#include "kelp/core/kelp/package/database-path-resolver.h"
#include "kelp/core/kelp/package/descriptor.h"
#include "kelp/core/kelp/package/store-entry.h"
#include "kelp/core/kelp/package/store-names.h"
#include "kelp/core/kelp/publication/publication-plan.h"
#include "kelp/core/kelp/publication/target-places.h"
#include "kelp/core/kelp/registry/registry.h"
#include "kelp/core/kelp/store/fs-database.h"

#include <optional>

namespace fs = std::filesystem;

namespace Core::KELP {

namespace {

PackageInformation descriptorIn(const fs::path &tree) {
    return readDescriptor(tree / StoreName::descriptor);
}

PackageStaging stagingOf(const PackageInformation &information, const fs::path &tree) {
    return {tree,
            information.at("general.id"),
            information.at("general.version"),
            valueOf(information, "general.orgname"),
            valueOf(information, "general.appname"),
            ContentsList::read(tree).has_value()};
}

/// The descriptor's values beside the staging's own.
PackageInformation extrasOf(PackageInformation information) {
    std::erase_if(information, [](const auto &entry) { return entry.first.starts_with("general."); });
    return information;
}

std::string obstacleTo(const IConfiguration &configuration, const fs::path &tree) {
    // Not by a store object, which would make its directory: this only looks.
    const DatabasePathResolver resolver(configuration);
    const PackageStaging staging = stagingOf(descriptorIn(tree), tree);
    if (StoreEntry(resolver, staging.id).slot(PackageSlot::Current).counts())
        return "the store has it already";
    // Whoever completes it later would remove what is rescued.
    if (unfinishedRemoval() == staging.id)
        return "its removal was begun";
    if (std::string objection = StoreEntry(resolver, staging.id).objectionTo(staging.version);
        !objection.empty())
        return objection;
    std::string taken;
    TargetPlaces places;
    for (const PlannedFile &file : FSDatabase::publicationOf(staging, resolver).files) {
        // A dangling link counts: a repair replaces nothing foreign.
        if (fs::exists(fs::symlink_status(file.target)))
            taken += (taken.empty() ? "something else is at " : ", ") + file.target;
        else if (std::string obstacle = places.obstacle(file.target); !obstacle.empty())
            return obstacle;
    }
    return taken;
}

} // namespace

std::string rescueObstacle(const IConfiguration &configuration, const fs::path &tree) {
    try {
        return Common::lookThrough(tree / StoreName::descriptor) ? obstacleTo(configuration, tree)
                                                                 : "it has no descriptor";
    } catch (const std::exception &unreadable) {
        // One broken tree must not hide all others.
        return Common::explainedText(unreadable);
    }
}

void installRescued(const IConfiguration &configuration, const fs::path &tree) {
    // Asked again: other repairs may have changed the answer.
    if (const std::string obstacle = rescueObstacle(configuration, tree); !obstacle.empty())
        throw Common::Error(Common::ErrorCode::FileConflict, obstacle);
    const PackageInformation information = descriptorIn(tree);
    const DatabasePathResolver resolver(configuration);
    const PackageStaging staging = stagingOf(information, tree);
    FSDatabase store(configuration, resolver);
    // Placed, but not published: a failed publication would roll back, and so remove this last copy of the
    // files. The missing published files then are findings, which are mended one by one. A kill leaves the
    // tree, with its descriptor, at its old place or as the version directory. No link leads there yet, or
    // `next` does, or `current`. `kelpctl doctor` finds each of these states.
    store.describeStaged(staging, extrasOf(information));
    store.place(staging);
    Common::flushFilesystem(configuration.databaseDirectory());
}

} // namespace Core::KELP
