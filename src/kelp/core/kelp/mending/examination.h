#pragma once

#include "kelp/core/kelp/inspection/unread.h"
#include "kelp/core/kelp/mending/finding.h"

#include <set>
#include <string>
#include <vector>

namespace Core {
class IConfiguration;
}

namespace Core::KELP {

/// Looks for all faults of the packages `ids`. Without ids, looks at all packages, and at files that belong
/// to none. Changes nothing. Returns the findings by package, in the order in which to mend them. A read that
/// fails goes to `unread`, and no finding rests on it. Raises as idsOnTheirWay() does: without the take-over
/// journal the owners of files are unknown. The findings refer to `configuration`, which must outlive them.
std::vector<Finding> examine(const IConfiguration &configuration, const std::set<std::string> &ids,
                             Unread &unread);

/// The ids that are unknown to store, rpm, registry, sources and take-over; none while one of these cannot be
/// read.
std::vector<std::string> unknownIds(const IConfiguration &configuration, const std::set<std::string> &ids);

struct Mending {
    std::vector<Finding> mended;
    std::vector<Finding> left;
    Unread unread; ///< The failed reads of the last look.
};

/// Mends item by item, until nothing more can be mended. A failure is logged, and does not stop the others.
/// Raises as examine() does. The caller holds the writers' lock.
Mending mend(const IConfiguration &configuration, const std::set<std::string> &ids);

} // namespace Core::KELP
