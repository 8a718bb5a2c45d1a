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

/// Looks for everything that is wrong with the packages of these ids, or with all and what belongs to none
/// when there are no ids, and changes nothing. In the order in which the findings are to be mended, by
/// package. What cannot be read goes to `unread`, and nothing is found that rests on it; without the
/// take-over journal nobody knows whose files are whose, and that raises as idsOnTheirWay() does.
/// `configuration` outlives the findings.
std::vector<Finding> examine(const IConfiguration &configuration, const std::set<std::string> &ids,
                             Unread &unread);

/// Those of the ids that neither store, rpm, registry, sources nor a take-over has ever heard of; none while
/// one of these cannot be read.
std::vector<std::string> unknownIds(const IConfiguration &configuration, const std::set<std::string> &ids);

struct Mending {
    std::vector<Finding> mended;
    std::vector<Finding> left;
    Unread unread; ///< What could not be read at the last look.
};

/// Mends what can be mended, item by item, until nothing more can be: a failure is logged, and the others go
/// on. Raises as examine() does. The caller holds the writers' lock.
Mending mend(const IConfiguration &configuration, const std::set<std::string> &ids);

} // namespace Core::KELP
