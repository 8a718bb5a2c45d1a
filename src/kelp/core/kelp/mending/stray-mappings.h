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

// Links and copies that a package has published and that no list names, as when its version was removed by
// other means. Ours is what createMapping() would have written at that very place: the text of the link, or
// the attribute of the copy, is what the mapping table gives for it.

/// Those of all packages but the ones of `underWay`, which may be publishing, or of `ids` alone where there
/// are any. A place that cannot be read is told in the views.
std::vector<Finding> examineStrays(const IConfiguration &configuration, MachineViews &views,
                                   const std::set<std::string> &underWay, const std::set<std::string> &ids);

/// Takes back those of a package that has just left the store. What could not be is noted (left-behind.h).
/// Raises ErrorCode::Filesystem when they cannot be looked for or noted.
void takeBackStrays(const IConfiguration &configuration, const std::string &id);

/// Where links and copies of a package stand, whether or not they lead anywhere. Raises
/// ErrorCode::Filesystem when they cannot be looked for.
std::vector<std::filesystem::path> placesOfMappings(const IConfiguration &configuration,
                                                    const std::string &id);

} // namespace Core::KELP
