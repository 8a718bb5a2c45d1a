#include "kelp/core/kelp/inspection/take-over-plan.h"

#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/files/filesystem.h"
#include "kelp/core/common/files/path-tests.h"
#include "kelp/core/common/i-configuration.h"
#include "kelp/core/common/places.h"
#include "kelp/core/common/rpm/database.h"
#include "kelp/core/common/rpm/transaction.h"
#include "kelp/core/kelp/inspection/machine-state.h"
#include "kelp/core/kelp/inspection/records-view.h"
#include "kelp/core/kelp/inspection/rpm-view.h"
#include "kelp/core/kelp/inspection/store-view.h"
#include "kelp/core/kelp/inspection/tree-view.h"
#include "kelp/core/kelp/package/database-path-resolver.h"
#include "kelp/core/kelp/package/migration-stamps.h"
#include "kelp/core/kelp/take-over/rpm-migration.h"
#include "kelp/core/kelp/take-over/staging-area.h"

#include "platform/package-signatures/database.h"

#include <algorithm>
#include <set>

namespace fs = std::filesystem;

namespace Core::KELP {

namespace {

using Common::Rpm::Transaction;

/// Makes the plan of one machine.
class Planning {
public:
    explicit Planning(const IConfiguration &configuration) :
        configuration_(configuration),
        resolver_(configuration),
        area_(configuration),
        // Computed before rpm works on a copy, which lies elsewhere.
        besideCopies_(RpmMigration::spaceBesideCopies(configuration, 1)),
        obstacle_(findObstacle()),
        copiesStay_(!Common::isSameFilesystem(configuration.tempDirectory(), Common::belowRoot("usr"))) {
        Common::requireReadable(configuration.databaseDirectory());
    }

    TakeOverPlan run() {
        addPending();
        plan_.room = room();
        std::optional<Common::Rpm::DatabaseCopy> copy;
        addInstalled(withRpmPath([&] {
            copy.emplace();
            return Transaction(0);
        }));
        std::ranges::stable_sort(plan_.applications, {}, &PlannedTakeOver::id);
        plan_.isDone = isDone(migrationStamps.front());
        return std::move(plan_);
    }

private:
    /// An obstacle that keeps every application in rpm, though rpm and store can be used.
    std::optional<std::string> findObstacle() const {
        const fs::path &staging = configuration_.tempDirectory();
        if (!area_.isOwn())
            return staging.string() + " is not the package manager's own";
        if (!Common::isSameFilesystem(staging, configuration_.databaseDirectory()))
            return "the store is on another filesystem than " + staging.string();
        try {
            RpmMigration::requireRoomForRpm();
            return std::nullopt;
        } catch (const Common::Error &error) {
            return error.what();
        }
    }

    void addPending() {
        for (const JournalEntry &entry : pendingTakeOvers(configuration_)) {
            move(entry, "its take-over was begun");
            pendingIds_.insert(entry.id);
            pendingTrees_.insert(entry.path);
        }
    }

    /// Remnants of a killed run go before anything is copied.
    std::uint64_t room() const {
        std::uint64_t room = area_.room();
        if (area_.isOwn())
            for (const fs::path &leftover : area_.leftovers(pendingTrees_))
                room += TreeView(leftover).bytes();
        return room;
    }

    /// The trees that the next start would find rescued, or would rescue.
    std::vector<LeftTree> leftTrees() const {
        std::vector<LeftTree> trees = LeftTree::rescued(configuration_);
        if (area_.isOwn())
            for (const fs::path &leftover : area_.leftovers(pendingTrees_))
                if (!StagingArea::isScrap(leftover))
                    trees.emplace_back(leftover);
        return trees;
    }

    static void requireSignatures() {
        const std::string path = PackageSignatures::Database::defaultPath();
        if (!Common::exists(path))
            throw Common::Error(Common::ErrorCode::Filesystem,
                                "Without a signature database the migration would fail: " + path);
    }

    void addInstalled(const Transaction &rpm) {
        requireSignatures();
        const std::vector<RpmRecord> records = rpmRecords(configuration_, rpm);
        const auto installedVersion = [this](const std::string &id) {
            return StoreView(configuration_).versionOfRecord(id);
        };
        const RpmSurvey survey(rpm, installedVersion, resolver_, pendingIds_, leftTrees(),
                               Common::deviceOf(configuration_.tempDirectory()));
        plan_.isDamaged = survey.isDamaged();
        std::set<std::string> judged = pendingIds_;
        for (const RpmSurvey::Item &item : survey.items())
            if (item.candidate) {
                addCandidate(*item.candidate);
                judged.insert(item.id);
            }
        for (const RpmRecord &record : records)
            if (record.isApplication && !judged.contains(record.id))
                stay(record.id, record.version,
                     whyNotMigrated(record).value_or("its record in rpm cannot be read"));
    }

    void addCandidate(const RpmCandidate &candidate) {
        const JournalEntry &entry = candidate.entry;
        if (candidate.isInStore)
            move(entry, "the store has it already: only its record in rpm goes");
        else if (const auto reason = candidate.stays ? candidate.stays : obstacle_)
            stay(entry.id, entry.version, *reason, candidate.bytes);
        else if (fits(candidate.bytes))
            move(entry, "", candidate.bytes);
        else
            stay(entry.id, entry.version, "there is no room to take it over", candidate.bytes);
    }

    /// Counts those that do not fit as needed too: people have to know how much to free.
    bool fits(std::uint64_t bytes) {
        const std::uint64_t kept = copiesStay_ ? bytes : 0;
        const bool isRoom = taken_ + bytes + besideCopies_ <= plan_.room;
        plan_.needed = std::max(plan_.needed + kept, bytes + besideCopies_);
        if (isRoom)
            taken_ += kept;
        return isRoom;
    }

    void move(const JournalEntry &entry, std::string remark, std::optional<std::uint64_t> bytes = {}) {
        plan_.applications.push_back({entry.id, entry.version, true, std::move(remark), bytes});
    }

    void stay(const std::string &id, const std::string &version, std::string reason,
              std::optional<std::uint64_t> bytes = {}) {
        plan_.applications.push_back({id, version, false, std::move(reason), bytes});
    }

    const IConfiguration &configuration_;
    DatabasePathResolver resolver_;
    StagingArea area_;
    std::uint64_t besideCopies_;
    std::optional<std::string> obstacle_;
    bool copiesStay_; ///< rpm's files lie on another filesystem: their removal makes no room for the next.
    std::uint64_t taken_ = 0; ///< Bytes of the copies that stay, of those that move.
    std::set<std::string> pendingIds_;
    std::set<fs::path> pendingTrees_;
    TakeOverPlan plan_;
};

} // namespace

TakeOverPlan planTakeOver(const IConfiguration &configuration) {
    return Planning(configuration).run();
}

} // namespace Core::KELP
