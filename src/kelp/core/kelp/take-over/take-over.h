#pragma once

#include "kelp/core/common/files/file-identity.h"
#include "kelp/core/kelp/package/package-information.h"
#include "kelp/core/kelp/registry/registry-record.h"
#include "kelp/core/kelp/take-over/take-over-journal.h"

#include <exception>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace Common::Rpm {
class Transaction;
}
namespace Core {
class IConfiguration;
}

namespace Core::KELP {

class IDatabasePathResolver;
class StagingArea;
class TakeOverStore;
class TargetExchange;

/// Brings staged packages into the store and out of rpm. After a kill at any moment, the next run completes
/// the take-over or undoes it. These are the steps for a group of packages, which one journal names:
///
/// 1. Each tree goes to its version directory and becomes current. The store is flushed. So a tree that is
///    still staged proves that none of its targets was touched.
/// 2. Package by package, the store's files take the place of rpm's at the targets (TargetExchange), and the
///    lists are written. A failure rolls back its own package only.
/// 3. Every filesystem that was written to is flushed.
/// 4. rpm forgets the packages: their headers go, no script runs, and all files stay. rpm's database is
///    flushed. So a header that still exists proves that none of rpm's files was removed.
/// 5. rpm's files are removed. The caller's `arrival` does its own work for the packages that came in, and
///    the registry gets a line for each. All that is flushed; then the journal forgets the packages.
///
/// What holds at every moment:
/// - A target where rpm had a file holds rpm's file or the store's, and opens.
/// - rpm forgets a package only after all of it is published, and durable.
/// - A file of rpm's is removed only after the header of its package is durably gone.
/// - A package whose lists are written is whole in the store, and no failure rolls it back.
class TakeOver {
public:
    /// The failures of packages that did not arrive, by id.
    using ArrivalFailures = std::map<std::string, std::exception_ptr>;
    using Arrival = std::function<ArrivalFailures(const std::vector<PackageInformation> &)>;

    /// All arguments must outlive the object. `arrival` gets the packages that came to the store, at the end
    /// of each group, while the journal still names them. Packages for which it returns a failure stay in the
    /// journal.
    TakeOver(Common::Rpm::Transaction &rpm, TakeOverStore &store, const IDatabasePathResolver &pathResolver,
             const IConfiguration &configuration, const StagingArea &area, const Arrival &arrival);

    /// Call it if some records were unreadable before rpm forgot anything. Each later look then checks the
    /// records of its own packages.
    void expectDamage() { isDamageExpected_ = true; }

    /// Completes or undoes the take-over of the packages that an earlier run left in the journal.
    /// docs/architecture.md has the table of cases. A failure of one package is logged. It is also noted in
    /// failure(), unless it is a conflict in one of the steps. Raises before any change when a record in
    /// rpm's database cannot be read. The same holds when the store or the temporary directory is not on the
    /// disk that the journal names. Raises after changes, too: when rpm's database cannot be read after the
    /// erasure, and when the last flush or the journal's write fails. Then the next start settles what the
    /// journal on disk names.
    void settle(std::vector<JournalEntry> entries);

    /// The steps for packages that were staged just now, and that the journal on disk names. Raises as
    /// settle() does.
    void carryOut(std::vector<JournalEntry> group);

    /// The packages that the journal still holds.
    const std::vector<JournalEntry> &left() const { return left_; }

    /// The first failure of all calls, conflicts in the steps excepted; null without one.
    std::exception_ptr failure() const { return failure_; }

private:
    /// The state in rpm of a journalled header.
    enum class Header {
        Gone,
        Same,
        Again, ///< The same package, at another place of the database.
        Other, ///< Another package of the name, or several.
    };

    /// One package on its way.
    struct Moving {
        JournalEntry entry;
        bool hasHeader = false;
        bool isWhole = false; ///< Its lists stand.
    };

    using Group = std::vector<Moving>;

    std::map<std::string, Header> headersOf(const std::vector<const JournalEntry *> &entries) const;
    bool areReadable(const std::vector<const JournalEntry *> &entries) const;
    void requireDisks(const std::vector<JournalEntry> &entries) const;
    bool goesOn(const JournalEntry &entry, Header header);
    void describe(const JournalEntry &entry) const;

    void carryOut(Group &group);
    template<class Step>
    void forEach(Group &group, const Step &step);
    void prepare(Group &group);
    void publish(Moving &package);
    void flush(Group &group, const std::set<std::filesystem::path> &places);
    void forget(Group &group);
    void clear(const JournalEntry &entry);
    void arrive(Group &group);
    std::set<std::string> clearFiles(const JournalEntry &entry);
    void clearDirectories(const JournalEntry &entry) const;
    void abandon(const Moving &package, const std::exception &error);
    void keep(const JournalEntry &entry);
    void takeBack(const JournalEntry &entry);
    void removeMadeDirectories(const JournalEntry &entry) const;
    void dropTree(const JournalEntry &entry) const;
    void rescueForeign(const JournalEntry &entry) const;
    void giveWayToRpm(const JournalEntry &entry, Header header);

    bool isStaged(const JournalEntry &entry) const;
    std::filesystem::path treeOf(const JournalEntry &entry) const;
    TargetExchange exchangeOf(const JournalEntry &entry);
    void noteInstallation(const JournalEntry &entry);
    void recordInstallations();
    std::set<std::filesystem::path> placesOf(const JournalEntry &entry) const;
    std::set<std::filesystem::path> ownPlaces() const;
    void conclude();

    Common::Rpm::Transaction *rpm_;
    TakeOverStore *store_;
    const IDatabasePathResolver *pathResolver_;
    const IConfiguration *configuration_;
    const StagingArea *area_;
    const Arrival *arrival_;

    bool isDamageExpected_ = false;
    std::vector<JournalEntry> left_;
    std::vector<RegistryRecord> installations_; ///< Not yet in the registry.
    std::set<std::filesystem::path> written_;   ///< Not yet flushed.
    std::exception_ptr failure_;
    Common::IdentityComparison identities_;
};

} // namespace Core::KELP
