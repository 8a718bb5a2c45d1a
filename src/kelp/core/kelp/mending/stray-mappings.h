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
// other means. A mapping is ours if createMapping() would have written it at that very place: the link's
// text, or the copy's attribute, is the mapping table's for it.

/// Those of `ids`, or of all packages without ids; never of `underWay`, which may be publishing. A place that
/// cannot be read is noted in the views.
std::vector<Finding> examineStrays(const IConfiguration &configuration, MachineViews &views,
                                   const std::set<std::string> &underWay, const std::set<std::string> &ids);

/// Removes those of a package that has just left the store. Failures are noted (left-behind.h). Raises
/// ErrorCode::Filesystem when they cannot be looked for or noted.
void takeBackStrays(const IConfiguration &configuration, const std::string &id);

/// Where links and copies of a package stand, whether or not they lead anywhere. Raises
/// ErrorCode::Filesystem when they cannot be looked for.
std::vector<std::filesystem::path> placesOfMappings(const IConfiguration &configuration,
                                                    const std::string &id);

} // namespace Core::KELP
