#include "kelp/core/kelp/inspection/machine-state.h"

#include "kelp/core/common/files/path-tests.h"
#include "kelp/core/common/places.h"
#include "kelp/core/kelp/inspection/records-view.h"
#include "kelp/core/kelp/inspection/rpm-view.h"
#include "kelp/core/kelp/inspection/store-view.h"
#include "kelp/core/kelp/inspection/take-over-plan.h"
#include "kelp/core/kelp/inspection/take-over-view.h"
#include "kelp/core/kelp/package/migration-stamps.h"

#include <algorithm>
#include <map>
#include <optional>

namespace fs = std::filesystem;

namespace Core::KELP {

namespace {

/// The standings by id. What is added first for an id stays: the callers come in the order of the states.
class Standings {
public:
    void add(const std::string &id, const std::string &version, ApplicationState state, std::string reason) {
        standings_.try_emplace(id, ApplicationStanding{id, version, state, std::move(reason)});
    }

    std::vector<ApplicationStanding> take() {
        std::vector<ApplicationStanding> all;
        for (auto &[id, standing] : standings_)
            all.push_back(std::move(standing));
        return all;
    }

private:
    std::map<std::string, ApplicationStanding> standings_;
};

/// The packages that are installed by the last word of the registry.
std::map<std::string, bool> installedByRegistry() {
    std::map<std::string, bool> installed;
    for (const RegistryRecord &record : registryRecords())
        // In the order of the file, so that the last word stays.
        installed[record.packageId()] = record.event() != RegistryEvent::Remove;
    return installed;
}

std::string damage(const StoredPackage &package, const PackageFiles &files) {
    if (package.version.empty())
        return "no version of it is current";
    if (!package.information)
        return "its descriptor cannot be read";
    const std::size_t missing = files.missing.size();
    if (missing == 0)
        return {};
    return missing == 1 ? "a published file is missing"
                        : std::to_string(missing) + " published files are missing";
}

void addUnfinished(const std::vector<JournalEntry> &takeOvers, const std::vector<StoredPackage> &packages,
                   Standings &standings) {
    for (const JournalEntry &entry : takeOvers)
        standings.add(entry.id, entry.version, ApplicationState::Unfinished,
                      "its take-over from rpm was begun and not completed");
    if (const auto id = unfinishedRemoval())
        standings.add(*id, "", ApplicationState::Unfinished, "its removal was begun and not completed");
    if (const auto begun = unfinishedInstallation())
        standings.add(begun->id, begun->version, ApplicationState::Unfinished,
                      "its installation was begun and is not on record");
    for (const StoredPackage &package : packages) {
        if (package.hasNext)
            standings.add(package.id, package.version, ApplicationState::Unfinished,
                          "an update was begun and not completed");
        if (package.hasPlan)
            standings.add(package.id, package.version, ApplicationState::Unfinished,
                          "its publication was begun and not completed");
    }
}

/// Returns how large all of them are, in bytes. A directory without a current version is what an installation
/// left that failed, unless it once succeeded.
std::uintmax_t addStored(const std::vector<StoredPackage> &packages, const StoreView &store,
                         const std::map<std::string, bool> &installed, Standings &standings) {
    std::uintmax_t bytes = 0;
    for (const StoredPackage &package : packages) {
        const PackageFiles files = store.files(package.id);
        bytes += files.bytes;
        const auto known = installed.find(package.id);
        if (package.version.empty() && (known == installed.end() || !known->second))
            continue;
        std::string reason = damage(package, files);
        const auto state = reason.empty() ? ApplicationState::Store : ApplicationState::Damaged;
        standings.add(package.id, package.version, state, std::move(reason));
    }
    return bytes;
}

/// Why applications are still in rpm.
class ReasonsOfRpm {
public:
    ReasonsOfRpm(const IConfiguration &configuration, bool isMigrated) :
        configuration_(configuration), isMigrated_(isMigrated) {}

    std::string of(const RpmRecord &record) {
        if (const auto reason = whyNotMigrated(record))
            return *reason;
        return isMigrated_ ? whyPassedOver(record) : "waits for the first migration";
    }

private:
    /// Found out for the first that needs it: a machine as it should be has none.
    std::string whyPassedOver(const RpmRecord &record) {
        if (!plan_)
            plan_ = plan();
        const auto planned = std::ranges::find_if(plan_->applications, [&](const PlannedTakeOver &other) {
            return other.id == record.id && other.version == record.version;
        });
        if (planned == plan_->applications.end())
            return "could not be published";
        return planned->isMoved ? "nothing is in the way of its take-over"
                                : "could not be published: " + planned->reason;
    }

    /// Without one, the others are told all the same.
    TakeOverPlan plan() const {
        try {
            return planTakeOver(configuration_);
        } catch (const std::exception &) {
            return {};
        }
    }

    const IConfiguration &configuration_;
    bool isMigrated_;
    std::optional<TakeOverPlan> plan_;
};

/// By now whatever is anywhere has its standing: what these two add is nowhere.
void addLost(const std::map<std::string, bool> &installed, const SourcesView &sources, Standings &standings) {
    for (const auto &[id, isInstalled] : installed)
        if (isInstalled)
            standings.add(id, "", ApplicationState::Lost, "installed by the registry, and nowhere");
    for (const auto &[id, keyId] : sources.sourceOf)
        standings.add(id, "", ApplicationState::Lost, "bound to a source, and nowhere");
}

} // namespace

bool isDone(const MigrationStamp &stamp) {
    const fs::path path = Common::belowRoot(stamp.path);
    Common::requireReadable(path);
    std::error_code ignored;
    return fs::exists(path, ignored);
}

const char *nameOf(ApplicationState state) {
    switch (state) {
    case ApplicationState::Unfinished:
        return "unfinished";
    case ApplicationState::Rescued:
        return "rescued";
    case ApplicationState::Damaged:
        return "damaged";
    case ApplicationState::Store:
        return "store";
    case ApplicationState::Rpm:
        return "rpm";
    case ApplicationState::Lost:
        break;
    }
    return "lost";
}

bool needsSomebody(ApplicationState state) {
    return state != ApplicationState::Store && state != ApplicationState::Rpm;
}

MachineState inspectMachine(const IConfiguration &configuration) {
    const StoreView store(configuration);
    MachineState machine;
    for (const MigrationStamp &stamp : migrationStamps)
        machine.migrations.emplace_back(stamp.name, isDone(stamp));
    machine.sources = SourcesView::read(configuration);
    const auto installed = installedByRegistry();
    const std::vector<StoredPackage> packages = store.packages();

    Standings standings;
    const std::vector<JournalEntry> takeOvers = pendingTakeOvers();
    machine.takeOvers = takeOvers.size();
    // What needs somebody stands before what is whole: an application can be both.
    addUnfinished(takeOvers, packages, standings);
    for (const auto &[id, path] : store.rescued())
        standings.add(id, "", ApplicationState::Rescued, "its files are in " + path.string());
    machine.storeBytes = addStored(packages, store, installed, standings);
    ReasonsOfRpm reasons(configuration, machine.migrations.front().second);
    for (const RpmRecord &record : rpmRecords())
        standings.add(record.id, record.version, ApplicationState::Rpm, reasons.of(record));
    addLost(installed, machine.sources, standings);
    machine.applications = standings.take();
    return machine;
}

} // namespace Core::KELP
