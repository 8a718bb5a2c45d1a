#include "kelp/core/kelp/inspection/take-over-view.h"

#include "kelp/core/common/files/path-tests.h"
#include "kelp/core/common/i-configuration.h"

namespace Core::KELP {

std::vector<JournalEntry> pendingTakeOvers(const IConfiguration &configuration) {
    Common::requireReadable(TakeOverJournal::path());
    return TakeOverJournal::read(configuration.tempDirectory());
}

std::set<std::string> idsOnTheirWay(const IConfiguration &configuration) {
    Common::requireReadable(TakeOverJournal::path());
    return TakeOverJournal::readIds(configuration.tempDirectory());
}

} // namespace Core::KELP
