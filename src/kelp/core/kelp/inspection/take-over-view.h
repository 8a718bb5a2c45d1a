#pragma once

#include "kelp/core/kelp/take-over/take-over-journal.h"

#include <set>
#include <string>
#include <vector>

namespace Core {
class IConfiguration;
}

namespace Core::KELP {

/// The packages on their way from rpm into the store, for somebody who only wants to look. Raises
/// ErrorCode::UnauthorizedAccess, and as TakeOverJournal::read() does.
std::vector<JournalEntry> pendingTakeOvers(const IConfiguration &configuration);

/// Their ids. What the store has of them may be the only copy, and is the launcher's alone to touch.
std::set<std::string> idsOnTheirWay(const IConfiguration &configuration);

} // namespace Core::KELP
