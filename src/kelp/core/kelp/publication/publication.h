#pragma once

#include "kelp/core/kelp/mappings/mapping-files.h"

#include <filesystem>
#include <string>
#include <vector>

namespace Core::KELP {

class Mapping;
struct PlannedFile;
struct PublicationPlan;

/// Whether the files of a version are published as links or as copies. They are copies if the package is of
/// the subgroup "mdm", or if the tree has the source of a mapping that requires copies. `tree` is the
/// version's directory. Raises ErrorCode::Filesystem "Couldn't look at file: PATH" when a look at such a
/// source fails.
MappingMode publicationMode(const std::filesystem::path &tree, const std::vector<Mapping> &mappings,
                            const std::string &subgroup);

/// Raises as requireFreeTarget() for the first target of the plan that is taken. So a file that appears there
/// later counts as ours.
void requireFreeTargets(const PublicationPlan &plan);

/// Publishes the files of a plan and appends each to `made`, also when it raises. Raises what createMapping()
/// raises; files made by then stay.
void publish(const PublicationPlan &plan, MappingMode mode, std::vector<std::string> &made);

// The removals below go by Common::Directory::byLinksOfRoot: they follow no link that others could have made.
// Failures are logged. All but unpublish() return the published files and the directories that the machine
// failed to remove, and which may still be there.

/// Removes files that were just made, by their paths alone.
void unpublish(const std::vector<std::string> &links);

/// Whether a link whose text matches counts as our copy of a packaged link.
enum class CopiedLinks {
    AreForeign,
    AreOurs, ///< Only at targets where the version was published, or which were found free for it.
};

/// Removes the files of a plan that are mappings of the planned sources, and unfinished copies. Foreign files
/// stay.
std::vector<PlannedFile> takeBackFiles(const PublicationPlan &plan, CopiedLinks copiedLinks);

/// Removes the unfinished copies that a kill has left beside the targets of a plan, for where nothing is
/// copied again. Call it under the lock of writers. A failure is logged.
void removeUnfinishedCopies(const PublicationPlan &plan);

/// Rolls back an interrupted publication: removes its files, and then its empty directories. Returns all
/// directories if anything is left.
PublicationPlan takeBack(const PublicationPlan &plan);

/// The same, but removes only files that lead nowhere and are mappings of their source, or of one below it.
PublicationPlan takeBackDead(const PublicationPlan &plan);

/// Removes those of the listed files that are still mappings, except mappings into another package of the
/// store. `source` is the link `current` of the package whose list this is. Returns the files that could not
/// be removed. Each has as source the path to which the mapping leads, or `source` if that could not be read.
std::vector<PlannedFile> removeMappings(const std::vector<std::string> &links,
                                        const std::filesystem::path &source);

/// Removes the listed directories that exist and are empty.
std::vector<std::string> removeEmptyDirectories(const std::vector<std::string> &directories);

} // namespace Core::KELP
