#pragma once

#include "kelp/core/kelp/take-over/take-over-journal.h"

#include <set>
#include <string>
#include <vector>

namespace Core {
class IConfiguration;
}

namespace Core::KELP {

/// The packages on their way from rpm into the store. Changes nothing. Raises ErrorCode::UnauthorizedAccess,
/// and as TakeOverJournal::read() does.
std::vector<JournalEntry> pendingTakeOvers(const IConfiguration &configuration);

/// Their ids. Their files in the store may be the only copy: only the launcher may touch them.
std::set<std::string> idsOnTheirWay(const IConfiguration &configuration);

} // namespace Core::KELP
