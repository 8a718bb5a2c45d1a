#pragma once

#include "kelp/core/kelp/mending/finding.h"

#include <filesystem>
#include <set>
#include <string>
#include <vector>

namespace Core {
class IConfiguration;
}

namespace Core::KELP {

struct MachineViews;

// Stray mappings: links and copies that a package has published, but that no list names. They remain, for
// example, when somebody removes the version by hand. A link or copy counts as the package's if
// createMapping() would have made it at that very place. The text of the link, or the attribute of the copy,
// is then the path that the mapping table (buildMappings()) publishes there.

/// Those of `ids`, or of all packages without ids; never of `underWay`, which may be publishing. None while a
/// place, or the store, registry or take-over journal, cannot be read; a failed read is noted in the views.
std::vector<Finding> examineStrays(const IConfiguration &configuration, MachineViews &views,
                                   const std::set<std::string> &underWay, const std::set<std::string> &ids);

/// Removes those of a package that has just left the store. Failures are noted (left-behind.h). Raises as
/// placesOfMappings() does, and ErrorCode::Filesystem when they cannot be noted.
void takeBackStrays(const IConfiguration &configuration, const std::string &id);

/// Where links and copies of a package stand, whether or not they lead anywhere. When they cannot be looked
/// for, raises ErrorCode::Filesystem "Couldn't look for published files below DIRECTORY".
std::vector<std::filesystem::path> placesOfMappings(const IConfiguration &configuration,
                                                    const std::string &id);

} // namespace Core::KELP
