#pragma once

#include "kelp/core/kelp/mappings/mapping-files.h"

#include <filesystem>
#include <string>
#include <vector>

namespace Core::KELP {

class Mapping;

/// What the store put into the system for one version.
struct Publication {
    std::vector<std::filesystem::path> links;       ///< The files, in the order in which they were made.
    std::vector<std::filesystem::path> directories; ///< Each before what lies in it.
};

/// How the files of a version are published: as copies for a package of the subgroup "mdm", and for one that
/// holds something below a mapping that requires copies; else as links. `tree` is the version's directory.
MappingMode publicationMode(const std::filesystem::path &tree, const std::vector<Mapping> &mappings,
                            const std::string &subgroup);

/// Publishes what `tree` holds below the sources of the mappings. A failure is logged, takes back what was
/// made, and is raised again.
Publication publish(const std::filesystem::path &tree, const std::vector<Mapping> &mappings,
                    MappingMode mode);

// What takes back goes by Common::Directory::byLinksOfRoot: a file or a directory in whose way somebody has
// put a link stays. Failures are logged.

/// Takes back files that were just made, by their paths alone.
void unpublish(const std::vector<std::filesystem::path> &links);

/// Takes back those of the listed files that are still mappings.
void removeMappings(const std::vector<std::filesystem::path> &links);

/// Removes those of the listed directories that exist and are empty.
void removeEmptyDirectories(const std::vector<std::filesystem::path> &directories);

} // namespace Core::KELP
