#include "kelp/core/kelp/mending/examination.h"

#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/errors/log-stream.h"
#include "kelp/core/common/files/filesystem.h"
#include "kelp/core/common/files/path-tests.h"
#include "kelp/core/common/i-configuration.h"
#include "kelp/core/kelp/inspection/certificates.h"
#include "kelp/core/kelp/inspection/machine-views.h"
#include "kelp/core/kelp/mending/operation-records.h"
#include "kelp/core/kelp/mending/rescue.h"
#include "kelp/core/kelp/publication/left-behind.h"
#include "kelp/core/kelp/registry/registry.h"
#include "kelp/core/kelp/take-over/own-directory.h"
#include "kelp/core/kelp/take-over/staging-area.h"
#include "kelp/core/trusted-sources/sqlite-database.h"

#include <algorithm>
#include <fstream>
#include <map>
#include <set>

namespace fs = std::filesystem;

namespace Core::KELP {

namespace {

using Common::LogLevel;
using Common::LogStream;

/// The records of one machine under examination.
class RecordExamination {
public:
    RecordExamination(const IConfiguration &configuration, MachineViews &views) :
        configuration_(configuration),
        views_(views),
        packages_(views.packages.value_or(std::vector<StoredPackage>())),
        underWay_(idsUnderWay(configuration)) {
        const RegistryView registry = views.registry.value_or(RegistryView());
        for (const RegistryRecord &record : registry.records)
            lastEvent_.insert_or_assign(record.packageId(), record.event());
    }

    std::vector<Finding> run() {
        examineRegistry();
        examineRemoval();
        for (const StoredPackage &package : packages_)
            // With a descriptor of another package, that one would be registered and bound.
            if (package.information && package.information->at("general.id") == package.id &&
                !underWay_.contains(package.id))
                examineInstalled(package.id, *package.information);
        examineRpm();
        // After the packages: their record of an installation would end that of an update.
        examineInstallation();
        if (views_.sources && views_.registry && views_.isAllThere())
            for (const auto &[id, keyId] : views_.sources->sourceOf)
                examineBinding(id, keyId);
        for (const auto &[id, path] : views_.rescued.value_or(std::vector<RescuedTree>()))
            examineRescued(id, path);
        for (const std::string &id : views_.leftBehind)
            examineLeftBehind(id);
        views_.unread.attempt([&] { return examineTakeOvers(), true; });
        views_.unread.attempt(
            [&] { return examineLeftovers(OwnDirectory::installing(configuration_)), true; });
        examineJournal();
        return std::move(findings_);
    }

private:
    bool isInRpm(const std::string &id) const {
        return std::ranges::find(views_.rpm->records, id, &RpmRecord::id) != views_.rpm->records.end();
    }

    void add(const std::string &id, FindingKind kind, const fs::path &path, std::string text,
             std::function<void()> mend) {
        findings_.push_back({id, kind, path, std::move(text), std::move(mend)});
    }

    /// Before all writes to the registry, which would log each bad line.
    void examineRegistry() {
        const std::size_t bad = views_.registry ? views_.registry->badLines : 0;
        if (bad > 0)
            add("", FindingKind::UnreadableLines, registryFile(),
                std::to_string(bad) + (bad == 1 ? " line" : " lines") +
                    " cannot be read; --repair goes on without them, and keeps the file as "
                    "registry.damaged-N",
                [] {
                    if (!Registry().dropBadLines())
                        throw Common::Error(Common::ErrorCode::Filesystem, "Couldn't write the registry");
                });
    }

    void examineRemoval() {
        if (const auto &id = views_.removal)
            add(*id, FindingKind::UnfinishedUpdate, removalFile(),
                "its removal was begun; --repair completes it",
                [&configuration = configuration_] { resumeRemoval(configuration); });
    }

    /// While its version is not current, the package's links are mended first.
    void examineInstallation() {
        const auto &begun = views_.installation;
        if (!begun || !views_.packages)
            return;
        const auto package = std::ranges::find(packages_, begun->id, &StoredPackage::id);
        const bool isIn = package != packages_.end() && package->version == begun->version;
        if (package == packages_.end() || (!package->hasNext && !package->version.empty()))
            add(begun->id, FindingKind::UnfinishedUpdate, installationFile(),
                isIn ? "its installation was begun and is not on record; --repair records it"
                     : "version " + begun->version + " did not come in; --repair removes the note of it",
                [&configuration = configuration_] { completeInstallation(configuration); });
    }

    void examineInstalled(const std::string &id, const PackageInformation &information) {
        const auto last = lastEvent_.find(id);
        if (views_.registry && (last == lastEvent_.end() || last->second == RegistryEvent::Remove))
            add(id, FindingKind::Unregistered, "",
                "the registry does not know that it is installed; --repair records it",
                [information] { writeRegistry(information); });
        const auto wanted = views_.unread.attempt([&] { return certifiedSource(id); });
        if (views_.sources && wanted && !isBoundRight(id, *wanted))
            examineUnbound(id, isLoosening(*wanted));
    }

    /// A lost database has lost its policy too, and the new one gets another.
    bool isLoosening(const std::optional<TrustedSources::Source> &wanted) const {
        return !wanted && !hasRow(TrustedSources::reservedSource) && !views_.sources->missingSourceAllowed;
    }

    void examineUnbound(const std::string &id, bool isLoosening) {
        const char *text = "is not bound to its source; --repair binds it";
        if (!isLoosening)
            return add(id, FindingKind::Unbound, "", text,
                       [&configuration = configuration_, id] { bindToItsSource(configuration, id); });
        static constexpr const char *loosened =
            "packages without a source are allowed from then on: see \"kelpctl "
            "policy missing-source\"";
        add(id, FindingKind::Unbound, "", std::string(text) + ", and " + loosened,
            [&configuration = configuration_, id] {
                bindToItsSource(configuration, id);
                // A mended finding keeps its text to itself.
                LogStream(LogLevel::Warning) << "With the binding of " << id << " " << loosened;
            });
    }

    /// Without a certificate no source is wrong.
    bool isBoundRight(const std::string &id, const std::optional<TrustedSources::Source> &wanted) const {
        const auto bound = views_.sources->sourceOf.find(id);
        if (bound == views_.sources->sourceOf.end())
            return false;
        return !wanted || wanted->keyId == bound->second || !hasRow(bound->second);
    }

    bool hasRow(const std::string &keyId) const {
        const auto &sources = views_.sources->sources;
        return std::ranges::find(sources, keyId, &TrustedSources::Source::keyId) != sources.end();
    }

    /// The row's content is unknown, and another program may have been at work.
    void examineSourceOf(const std::string &id, const std::string &keyId) {
        if (!hasRow(keyId))
            add(id, FindingKind::Unbound, "",
                "is bound to the source " + keyId + ", which the trusted sources do not have", {});
    }

    /// Only the launcher or a person knows that rpm need not have its files any more.
    void examineRpm() {
        for (const RpmRecord &record : views_.rpm.value_or(RpmView()).records)
            if (!underWay_.contains(record.id) &&
                std::ranges::any_of(packages_, [&](const StoredPackage &package) {
                    return package.id == record.id && package.information;
                }))
                add(record.id, FindingKind::StillInRpm, rpmDatabaseFile(),
                    "has a record of version " + record.version + ": no update is let in while it has", {});
    }

    static void writeRegistry(const PackageInformation &information) {
        if (!Registry().writeRecord(recordOf(RegistryEvent::Install, information)))
            throw Common::Error(Common::ErrorCode::Filesystem, "Couldn't write the registry");
    }

    /// A removal on purpose is in the registry. Any other binding is the last trace of a lost application,
    /// and stays.
    void examineBinding(const std::string &id, const std::string &keyId) {
        if (underWay_.contains(id))
            return;
        if (isInRpm(id) || std::ranges::find(packages_, id, &StoredPackage::id) != packages_.end()) {
            examineSourceOf(id, keyId);
            return;
        }
        const auto last = lastEvent_.find(id);
        if (last != lastEvent_.end() && last->second == RegistryEvent::Remove)
            add(id, FindingKind::OrphanBinding, "",
                "was removed and is bound to a source; --repair removes the binding",
                [&configuration = configuration_, id] {
                    TrustedSources::SQLiteDatabase(configuration).removePackage(id);
                });
        else if (!isRescued(id))
            add(id, FindingKind::OrphanBinding, "",
                "is bound to a source, and in neither store nor rpm: perhaps it is lost", {});
    }

    bool isRescued(const std::string &id) const {
        return std::ranges::any_of(views_.rescued.value_or(std::vector<RescuedTree>()),
                                   [&](const RescuedTree &tree) { return tree.first == id; });
    }

    void examineRescued(const std::string &id, const fs::path &path) {
        const std::string obstacle = obstacleToRescued(id, path);
        if (obstacle.empty())
            add(id, FindingKind::Rescued, path, "keeps its files; --repair installs them",
                [&configuration = configuration_, path] { installRescued(configuration, path); });
        else
            add(id, FindingKind::Rescued, path, "keeps its files: " + obstacle, {});
    }

    std::string obstacleToRescued(const std::string &id, const fs::path &path) const {
        if (!views_.rpm || !views_.rpm->isWhole)
            return "nobody knows whether rpm has it too";
        // Installed by rpm since then, it is rpm's.
        return isInRpm(id) ? "rpm has it too" : rescueObstacle(configuration_, path);
    }

    void examineLeftBehind(const std::string &id) {
        try {
            leftBehind(id);
        } catch (const std::exception &) {
            add(id, FindingKind::UnfinishedUpdate, leftBehindFile(id),
                "cannot be read, and no version of it is installed meanwhile", {});
            return;
        }
        add(id, FindingKind::UnfinishedUpdate, leftBehindFile(id),
            "not all that it had published could be taken back; --repair does it",
            [id] { takeBackLeftBehind(id); });
    }

    /// Only the launcher completes a take-over: the trees are the only copies.
    void examineTakeOvers() {
        if (!views_.takeOvers)
            return;
        std::set<fs::path> trees;
        for (const JournalEntry &entry : *views_.takeOvers) {
            trees.insert(entry.path);
            add(entry.id, FindingKind::Staged, entry.path, "is on its way from rpm into the store", {});
        }
        const StagingArea area(configuration_);
        if (!area.isOwn())
            return;
        for (const fs::path &path : area.leftovers(trees)) {
            const std::string name = path.filename().string();
            add(name.starts_with('.') ? "" : name, FindingKind::Leftover, path,
                "is left of a killed run of kelp-launcher: its next take-over from rpm clears it, or rescues "
                "it",
                {});
        }
    }

    /// An installation begins with the developer's certificate. So only a directory that is named after a
    /// package with one can be its tree; people may have put anything else there.
    static bool isUnpackedTree(const fs::directory_entry &entry, const std::string &id) {
        if (!fs::is_directory(entry.symlink_status()))
            return false;
        const bool isCertified = developerKey(id).has_value();
        // A lost signature database proves nothing.
        if (!isCertified)
            requireCertificates();
        return isCertified;
    }

    /// Trees unpacked for an installation came out of a package file, and can be unpacked again.
    void examineLeftover(const fs::directory_entry &entry) {
        const fs::path &path = entry.path();
        const std::string id = idOfUnpacked(path.filename());
        const auto isOurs = views_.unread.attempt([&] { return isUnpackedTree(entry, id); });
        if (!isOurs)
            return;
        if (*isOurs)
            add(id, FindingKind::Leftover, path,
                "is left of a killed installation or repair; --repair removes it",
                [path] { Common::removeAll(path); });
        else
            add(id, FindingKind::Foreign, path,
                "is no directory, or of no package with a certificate: no program touches it", {});
    }

    void examineLeftovers(const OwnDirectory &directory) {
        if (!directory.isOwn())
            return;
        std::error_code error;
        // A running installation looks the same. But a repair holds the lock of installations, which only a
        // dry run does without.
        for (fs::directory_iterator entry(directory.path(), error), end; !error && entry != end;
             entry.increment(error))
            if (entry->path().filename() != OwnDirectory::markName &&
                !isOfRunningDryRun(entry->path().filename()))
                examineLeftover(*entry);
        if (error && !Common::provesAbsence(error.value()))
            throw Common::Error(Common::ErrorCode::Filesystem,
                                "Couldn't read directory: " + directory.path().string(), error.value());
    }

    /// The next opening for writing rolls the journal back. A journal without a valid beginning belongs to a
    /// write that has changed nothing; the next write replaces it.
    void examineJournal() {
        fs::path journal = configuration_.trustedSourcesDatabasePath();
        journal += "-journal";
        if (std::ifstream(journal, std::ios::binary).get() > 0)
            add("", FindingKind::Leftover, journal, "is left of a killed run; --repair rolls it back",
                [&configuration = configuration_] {
                    TrustedSources::SQLiteDatabase(configuration).missingSourceAllowed();
                });
    }

    const IConfiguration &configuration_;
    MachineViews &views_;
    std::vector<StoredPackage> packages_;
    std::set<std::string> underWay_;
    std::map<std::string, RegistryEvent> lastEvent_;
    std::vector<Finding> findings_;
};

} // namespace

std::set<std::string> idsUnderWay(const IConfiguration &configuration) {
    std::set<std::string> ids = idsOnTheirWay(configuration);
    if (std::optional<std::string> id = unfinishedRemoval())
        ids.insert(std::move(*id));
    return ids;
}

std::vector<Finding> examineRecords(const IConfiguration &configuration, MachineViews &views) {
    return RecordExamination(configuration, views).run();
}

} // namespace Core::KELP
