#include "kelp/core/kelp/inspection/take-over-view.h"

#include "kelp/core/common/files/path-tests.h"

namespace Core::KELP {

std::vector<JournalEntry> pendingTakeOvers() {
    Common::requireReadable(TakeOverJournal::path());
    return TakeOverJournal::read();
}

std::set<std::string> idsOnTheirWay() {
    std::set<std::string> ids;
    for (JournalEntry &entry : pendingTakeOvers())
        ids.insert(std::move(entry.id));
    return ids;
}

} // namespace Core::KELP
