#include "kelp/core/kelp/mending/publication-obstacle.h"

#include "kelp/core/common/errors/reraise-as.h"
#include "kelp/core/common/files/path-tests.h"
#include "kelp/core/common/i-configuration.h"
#include "kelp/core/kelp/inspection/store-view.h"
#include "kelp/core/kelp/mappings/mapping-files.h"
#include "kelp/core/kelp/mappings/mapping-table.h"
#include "kelp/core/kelp/package/database-path-resolver.h"
#include "kelp/core/kelp/package/descriptor.h"
#include "kelp/core/kelp/publication/publication-plan.h"
#include "kelp/core/kelp/publication/target-places.h"

#include <algorithm>
#include <optional>
#include <set>

namespace fs = std::filesystem;

namespace Core::KELP {

namespace {

/// The owner of the file at a target, if it is a link or copy of a package in the store.
std::string ownershipOf(const fs::path &target, const fs::path &store) {
    const auto source = findMapping(target);
    const fs::path inStore = source ? source->lexically_relative(fs::absolute(store)) : fs::path();
    if (inStore.empty() || *inStore.begin() == ".." || *inStore.begin() == ".")
        return " is somebody else's";
    return " belongs to " + inStore.begin()->string();
}

/// The places where a version is to be published. What any version of the package has published goes first.
class PlacesToBe {
public:
    PlacesToBe(const IConfiguration &configuration, const PackageInformation &information) :
        configuration_(configuration),
        id_(valueOf(information, "general.id").value_or("")),
        current_(fs::absolute(DatabasePathResolver(configuration).currentDirectory(id_))),
        mappings_(publicationRows(information)) {}

    /// Empty when all files of the tree can be published.
    std::string obstacleTo(const fs::path &tree) {
        for (const PlannedFile &file : planPublication(tree, current_, mappings_, DanglingLinks::Count).files)
            if (std::string found = obstacle(file); !found.empty())
                return found;
        return {};
    }

private:
    std::string obstacle(const PlannedFile &file) {
        std::string found = obstacleAt(file);
        if (found.empty())
            return {};
        // A version may have a file where another one has a directory.
        if (const fs::path above = mappingAbove(file.target); !above.empty())
            return places_.obstacle(above);
        return isOwnDirectory(file.target) ? places_.obstacle(file.target) : found;
    }

    std::string obstacleAt(const PlannedFile &file) {
        if (Common::isThere(file.target) && !isOwn(file.target))
            return file.target + ownershipOf(file.target, configuration_.databaseDirectory());
        return places_.obstacle(file.target);
    }

    /// A link that was published as a copy carries no mark.
    bool isOwn(const fs::path &path) const {
        return isMappingBelow(path, current_) ||
               isCopiedLinkOf(path, current_ / packagePathOf(path, mappings_));
    }

    fs::path mappingAbove(const fs::path &target) const {
        fs::path above = target.parent_path();
        while (above.has_relative_path() && !isOwn(above))
            above = above.parent_path();
        return above.has_relative_path() ? above : fs::path();
    }

    /// Whether a directory was made for the package, and holds nothing but what goes.
    bool isOwnDirectory(const fs::path &path) {
        if (!made_) {
            const auto list =
                StoreView(configuration_).madeDirectories(id_).value_or(std::vector<std::string>());
            made_.emplace(list.begin(), list.end());
        }
        if (!made_->contains(path) || !fs::is_directory(fs::symlink_status(path)))
            return false;
        return Common::reraiseAs(
            Common::ErrorCode::Filesystem, "Couldn't read directory: " + path.string(), [&] {
                return std::ranges::all_of(fs::recursive_directory_iterator(path), [&](const auto &entry) {
                    return made_->contains(entry.path()) || isOwn(entry.path());
                });
            });
    }

    const IConfiguration &configuration_;
    std::string id_;
    fs::path current_;
    std::vector<Mapping> mappings_;
    TargetPlaces places_;
    std::optional<std::set<fs::path>> made_; ///< The directories on the list of the installed version.
};

} // namespace

std::string publicationObstacle(const IConfiguration &configuration, const fs::path &tree,
                                const PackageInformation &information) {
    return PlacesToBe(configuration, information).obstacleTo(tree);
}

} // namespace Core::KELP
