#include "kelp/core/kelp/inspection/machine-views.h"

#include "kelp/core/kelp/inspection/certificates.h"
#include "kelp/core/kelp/publication/left-behind.h"

namespace Core::KELP {

MachineViews MachineViews::read(const IConfiguration &configuration) {
    const StoreView store(configuration);
    MachineViews views;
    Unread &unread = views.unread;
    views.packages = unread.attempt([&] { return store.packages(); });
    if (views.packages && !views.packages->empty())
        unread.attempt([] { return requireCertificates(), true; });
    views.rescued = unread.attempt([&] { return store.rescued(); });
    views.takeOvers = unread.attempt([&] { return pendingTakeOvers(configuration); });
    views.rpm = rpmRecords(configuration, unread);
    views.registry = unread.attempt(readRegistry);
    views.sources = unread.attempt([&] { return SourcesView::read(configuration); });
    views.leftBehind = unread.attempt(idsLeftBehind).value_or(std::vector<std::string>());
    views.removal = unread.attempt(unfinishedRemoval).value_or(std::nullopt);
    views.installation = unread.attempt(unfinishedInstallation).value_or(std::nullopt);
    return views;
}

} // namespace Core::KELP
