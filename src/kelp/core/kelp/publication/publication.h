#pragma once

#include "kelp/core/kelp/mappings/mapping-files.h"

#include <filesystem>
#include <string>
#include <vector>

namespace Core::KELP {

class Mapping;
struct PlannedFile;
struct PublicationPlan;

/// How the files of a version are published: as copies for a package of the subgroup "mdm", and for one that
/// holds something below a mapping that requires copies; else as links. `tree` is the version's directory.
/// Raises ErrorCode::Filesystem "Couldn't look at file: PATH" where that cannot be told.
MappingMode publicationMode(const std::filesystem::path &tree, const std::vector<Mapping> &mappings,
                            const std::string &subgroup);

/// Raises ErrorCode::FileConflict when something stands at a target of the plan, so that whatever stands
/// there later is known to be ours.
void requireFreeTargets(const PublicationPlan &plan);

/// Publishes the files of a plan and appends to `made` what it has made, also when it raises. Raises what
/// createMapping() raises; what was made by then stays.
void publish(const PublicationPlan &plan, MappingMode mode, std::vector<std::string> &made);

// What takes back goes by Common::Directory::byLinksOfRoot: a file or a directory in whose way somebody has
// put a link stays. Failures are logged; what is returned is that at which the machine failed, and which may
// still be there.

/// Takes back files that were just made, by their paths alone.
void unpublish(const std::vector<std::string> &links);

/// What to take a link for that may be a copy of one of the package, or somebody else's of the same text.
enum class CopiedLinks {
    AreForeign,
    AreOurs, ///< Where it is known that nothing stood there before: requireFreeTargets() was passed.
};

/// Takes back the files of a plan that are mappings of the planned sources, and unfinished copies. What is
/// somebody else's stays.
std::vector<PlannedFile> takeBackFiles(const PublicationPlan &plan, CopiedLinks copiedLinks);

/// Takes back what an interrupted publication has left: the files, and then the directories that are empty.
PublicationPlan takeBack(const PublicationPlan &plan);

/// The same, but of the files only those that are mappings of their source, or of one below it, and lead
/// nowhere.
PublicationPlan takeBackDead(const PublicationPlan &plan);

/// Takes back those of the listed files that are still mappings, but not into another package of the store:
/// `source` is the link to the current version of theirs. The source of one that is returned is its own, or
/// `source` where that could not be read.
std::vector<PlannedFile> removeMappings(const std::vector<std::string> &links,
                                        const std::filesystem::path &source);

/// Removes those of the listed directories that exist and are empty.
std::vector<std::string> removeEmptyDirectories(const std::vector<std::string> &directories);

} // namespace Core::KELP
