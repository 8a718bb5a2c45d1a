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

/// Brings the packages of a journal to where each of them belongs, whatever moment the last run ended at: the
/// same steps follow rpm's erasure in one run and begin the next one.
///
/// What is true of a package is told by four facts: whether rpm still has the header of the journal, whether
/// the files on the disk are those that were staged, the staged tree, and the store.
///
/// - Header there, files untouched, nothing in the store: rpm had not begun. The tree goes; rpm has the
///   application.
/// - Header there, a file gone or changed: rpm had begun, and the tree is the truth. The header goes from the
///   database alone, for rpm's erasure would run its scripts on half a package and delete what is published.
/// - Header gone: forward to completely installed, published and registered.
/// - Another header of the name: somebody has used rpm since. rpm's is the truth, the tree is rescued.
/// - Nothing anywhere: told, and forgotten.
///
/// A tree goes only when rpm has its application untouched, or the store has it as a whole. A package ends in
/// the journal after what was done for it is on disk.
class TakeOverSettlement {
public:
    using Arrival = std::function<void(const PackageInformation &)>;

    /// All arguments must outlive the object. `arrival` is called for each package that has come to the
    /// store, before the journal forgets it; what it raises keeps the package in the journal.
    TakeOverSettlement(Common::Rpm::Transaction &rpm, TakeOverStore &store,
                       const IDatabasePathResolver &pathResolver, const IConfiguration &configuration,
                       const StagingArea &area, const Arrival &arrival);

    /// Says that there were records of others that could not be read before rpm erased anything: the next
    /// call of settle() looks for each of its own.
    void expectDamage() { isDamageExpected_ = true; }

    /// Settles what it can of `entries` and has the journal hold the rest. Raises ErrorCode::Internal when
    /// rpm's database cannot be read as a whole: then nothing was done. What fails for one package is logged,
    /// and noted in failure().
    void settle(std::vector<JournalEntry> entries);

    /// The packages that the journal still holds.
    const std::vector<JournalEntry> &left() const { return left_; }

    /// Packages of the last call that rpm has, untouched.
    const std::set<std::string> &untouched() const { return untouched_; }

    /// The first failure of all calls; null when there was none.
    std::exception_ptr failure() const { return failure_; }

private:
    enum class Header { Gone, Same, Other };

    struct Record {
        std::uint32_t instance;
        std::string digest;
    };

    std::map<std::string, std::vector<Record>> ask(const std::vector<JournalEntry> &entries) const;
    std::map<std::string, Header> headersOf(const std::vector<JournalEntry> &entries) const;
    bool areReadable(const std::vector<JournalEntry> &entries) const;
    bool hasBegun(const JournalEntry &entry);
    std::map<std::string, Header> dropHeaders(const std::vector<JournalEntry> &entries,
                                              std::map<std::string, Header> headers);
    void settleOne(const JournalEntry &entry, Header header);
    void goForward(const JournalEntry &entry);
    void install(const JournalEntry &entry);
    void makeWay(const JournalEntry &entry);
    void removeSavedConfiguration(const JournalEntry &entry) const;
    void rescueConflicting(const JournalEntry &entry);
    void giveWayToRpm(const JournalEntry &entry);
    void clearEmptyPackage(const JournalEntry &entry) const;
    bool isInStore(const JournalEntry &entry) const;
    void noteInstallation(const JournalEntry &entry);
    void recordInstallations();
    void noteDirectories(const JournalEntry &entry);
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
    std::set<std::string> untouched_;
    std::exception_ptr failure_;
    Common::IdentityComparison identities_;
    std::map<std::uint64_t, std::filesystem::path> written_; ///< One directory of each filesystem.
    std::set<std::string> noted_;
};

} // namespace Core::KELP
