#include "kelp/core/kelp/inspection/machine-state.h"

#include "kelp/core/common/errors/reraise-as.h"
#include "kelp/core/common/files/path-tests.h"
#include "kelp/core/common/places.h"
#include "kelp/core/kelp/inspection/machine-views.h"
#include "kelp/core/kelp/inspection/take-over-plan.h"
#include "kelp/core/kelp/package/migration-stamps.h"
#include "kelp/core/kelp/take-over/copy-failures.h"

#include <algorithm>
#include <atomic>
#include <future>
#include <map>
#include <optional>

namespace fs = std::filesystem;

namespace Core::KELP {

namespace {

/// The standings by id. The first one added for an id stays, so the callers add what counts most first.
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

/// The packages, and whether each is installed by its last line in the registry.
std::map<std::string, bool> installedBy(const std::vector<RegistryRecord> &records) {
    std::map<std::string, bool> installed;
    for (const RegistryRecord &record : records)
        // In file order, so that the last line stays.
        installed[record.packageId()] = record.event() != RegistryEvent::Remove;
    return installed;
}

std::string damage(const StoredPackage &package, const PackageFiles &files) {
    if (package.version.empty())
        return "no version of it is current";
    if (!package.information)
        return "its descriptor cannot be read, or its version is gone";
    if (!files.isListed)
        return "its list of published files is missing or torn";
    const std::size_t missing = files.missing.size();
    if (missing == 0)
        return {};
    return missing == 1 ? "a published file is missing"
                        : std::to_string(missing) + " published files are missing";
}

void addUnfinished(const MachineViews &views, Standings &standings) {
    for (const JournalEntry &entry : views.takeOvers.value_or(std::vector<JournalEntry>()))
        standings.add(entry.id, entry.version, ApplicationState::Unfinished,
                      "its take-over from rpm was begun and not completed");
    if (const auto &id = views.removal)
        standings.add(*id, "", ApplicationState::Unfinished, "its removal was begun and not completed");
    if (const auto &begun = views.installation)
        standings.add(begun->id, begun->version, ApplicationState::Unfinished,
                      "its installation was begun and is not on record");
    for (const std::string &id : views.leftBehind)
        standings.add(id, "", ApplicationState::Unfinished,
                      "not all that it had published could be taken back");
    for (const StoredPackage &package : views.packages.value_or(std::vector<StoredPackage>())) {
        if (package.hasNext)
            standings.add(package.id, package.version, ApplicationState::Unfinished,
                          "an update was begun and not completed");
        if (package.hasPlan)
            standings.add(package.id, package.version, ApplicationState::Unfinished,
                          "its publication was begun and not completed");
    }
}

/// A failed look is no damage: nothing is known then.
struct FilesLook {
    std::optional<PackageFiles> files;
    std::string failure; ///< Why there are none.
};

FilesLook lookAtFiles(const StoredPackage &package, const StoreView &store) {
    try {
        if (package.failure.empty())
            return {store.files(package.id), {}};
        return {std::nullopt, package.failure};
    } catch (const std::exception &error) {
        return {std::nullopt, Common::explainedText(error)};
    }
}

/// In the order of the packages. Two threads share them: this is nearly all of a look at a machine.
std::vector<FilesLook> lookAtAllFiles(const std::vector<StoredPackage> &packages, const StoreView &store) {
    std::vector<FilesLook> looks(packages.size());
    std::atomic<std::size_t> next = 0;
    const auto work = [&] {
        for (std::size_t i = next++; i < packages.size(); i = next++)
            looks[i] = lookAtFiles(packages[i], store);
    };
    // Without a second thread this one has done everything by the time it waits.
    const std::future<void> other = std::async(work);
    work();
    other.wait();
    return looks;
}

/// Returns the size of all, in bytes, if known. A directory without a current version is left by a failed
/// installation, unless one succeeded before.
std::optional<std::uintmax_t> addStored(const std::vector<StoredPackage> &packages, const StoreView &store,
                                        const std::map<std::string, bool> &installed, Standings &standings,
                                        Unread &unread) {
    std::optional<std::uintmax_t> bytes = 0;
    const std::vector<FilesLook> looks = lookAtAllFiles(packages, store);
    auto next = looks.begin();
    for (const StoredPackage &package : packages) {
        const auto &[files, failure] = *next++;
        if (!files) {
            unread.add(failure);
            bytes.reset();
            standings.add(package.id, package.version, ApplicationState::Unknown, failure);
            continue;
        }
        if (bytes)
            *bytes += files->bytes;
        const auto known = installed.find(package.id);
        if (package.version.empty() && (known == installed.end() || !known->second))
            continue;
        std::string reason = damage(package, *files);
        const auto state = reason.empty() ? ApplicationState::Store : ApplicationState::Damaged;
        if (reason.empty() && package.isLink)
            reason = "its directory is a link, and is neither updated nor removed";
        standings.add(package.id, package.version, state, std::move(reason));
    }
    return bytes;
}

/// Why applications are still in rpm.
class ReasonsOfRpm {
public:
    ReasonsOfRpm(const IConfiguration &configuration, std::optional<bool> isMigrated, Unread &unread) :
        configuration_(configuration),
        isMigrated_(isMigrated),
        unread_(unread),
        copyFailures_(unread.attempt(CopyFailures::read).value_or(std::map<std::string, CopyFailure>())) {}

    std::string of(const RpmRecord &record) {
        if (const auto reason = whyNotMigrated(record))
            return *reason;
        if (const auto failed = copyFailures_.find(record.id); failed != copyFailures_.end())
            return failed->second.text();
        if (!isMigrated_)
            return {};
        return *isMigrated_ ? whyPassedOver(record) : "waits for the first migration";
    }

private:
    /// Computed for the first package that needs it: a healthy machine has none.
    std::string whyPassedOver(const RpmRecord &record) {
        if (!plan_)
            plan_ = unread_.attempt([&] { return planTakeOver(configuration_); }).value_or(TakeOverPlan());
        const auto planned = std::ranges::find_if(plan_->applications, [&](const PlannedTakeOver &other) {
            return other.id == record.id && other.version == record.version;
        });
        if (planned == plan_->applications.end())
            return "could not be published";
        return planned->isMoved ? "nothing is in the way of its take-over"
                                : "could not be published: " + planned->reason;
    }

    const IConfiguration &configuration_;
    std::optional<bool> isMigrated_;
    Unread &unread_;
    std::map<std::string, CopyFailure> copyFailures_;
    std::optional<TakeOverPlan> plan_;
};

/// By now every application that was found has its standing: these two add those that are nowhere, or where
/// no look succeeded.
void addOthers(const std::map<std::string, bool> &installed, const SourcesView &sources, bool isAllThere,
               Standings &standings) {
    const auto state = isAllThere ? ApplicationState::Lost : ApplicationState::Unknown;
    const std::string place = isAllThere ? ", and nowhere" : ", and not all could be read that may have it";
    const auto isRemoved = [&](const std::string &id) {
        const auto found = installed.find(id);
        return found != installed.end() && !found->second;
    };
    for (const auto &[id, isInstalled] : installed)
        if (isInstalled)
            standings.add(id, "", state, "installed by the registry" + place);
    // The launcher binds by the certificates, also packages that people have removed since.
    for (const auto &[id, keyId] : sources.sourceOf)
        if (!isRemoved(id))
            standings.add(id, "", state, "bound to a source" + place);
}

} // namespace

bool isDone(const MigrationStamp &stamp) {
    const fs::path path = Common::belowRoot(stamp.path);
    Common::requireReadable(path);
    return Common::reraiseAs(Common::ErrorCode::Filesystem, "Couldn't look for " + path.string(),
                             [&] { return fs::exists(path); }) &&
           !(stamp.pending && Common::lookFor(Common::belowRoot(stamp.pending)));
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
    case ApplicationState::Unknown:
        return "unknown";
    case ApplicationState::Lost:
        break;
    }
    return "lost";
}

bool needsSomebody(ApplicationState state) {
    return state != ApplicationState::Store && state != ApplicationState::Rpm;
}

MachineState inspectMachine(const IConfiguration &configuration) {
    MachineState machine;
    MachineViews views = MachineViews::read(configuration);
    for (const MigrationStamp &stamp : migrationStamps)
        machine.migrations.emplace_back(stamp.name, views.unread.attempt([&] { return isDone(stamp); }));
    const auto installed = installedBy(views.registry.value_or(RegistryView()).records);
    Standings standings;
    // States that need a person come first: an application can have several.
    addUnfinished(views, standings);
    for (const auto &[id, path] : views.rescued.value_or(std::vector<RescuedTree>()))
        standings.add(id, "", ApplicationState::Rescued, "its files are in " + path.string());
    if (views.packages)
        machine.storeBytes =
            addStored(*views.packages, StoreView(configuration), installed, standings, views.unread);
    ReasonsOfRpm reasons(configuration, machine.migrations.front().second, views.unread);
    const SourcesView sources = views.sources.value_or(SourcesView());
    for (const RpmRecord &record : views.rpm.value_or(RpmView()).records)
        // If its certificate is unknown or lost, a package is shown if it was an application before.
        if (record.isApplication || installed.contains(record.id) || sources.sourceOf.contains(record.id))
            standings.add(record.id, record.version, ApplicationState::Rpm, reasons.of(record));
    addOthers(installed, sources, views.isAllThere(), standings);
    machine.takeOvers = views.takeOvers ? views.takeOvers->size() : 0;
    machine.applications = standings.take();
    machine.sources = std::move(views.sources);
    machine.unread = std::move(views.unread);
    return machine;
}

} // namespace Core::KELP
