#pragma once

#include "kelp/core/kelp/publication/target-places.h"
#include "kelp/core/kelp/take-over/installed-application.h"
#include "kelp/core/kelp/take-over/left-tree.h"
#include "kelp/core/kelp/take-over/package-outline.h"
#include "kelp/core/kelp/take-over/path-identity.h"
#include "kelp/core/kelp/take-over/path-owners.h"
#include "kelp/core/kelp/take-over/take-over-journal.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace Common::Rpm {
class Reader;
class Transaction;
} // namespace Common::Rpm
namespace PackageSignatures {
class Certificate;
class Database;
} // namespace PackageSignatures

namespace Core::KELP {

class IDatabasePathResolver;

/// The digest that tells the header of one package from that of another.
std::string headerDigest(const Common::Rpm::Reader &reader);

/// An application that rpm holds and that has a developer's certificate. Holds no list of its files: a
/// machine may have a thousand applications.
struct RpmCandidate {
    JournalEntry entry = {}; ///< All but what its staging notes.
    std::uint64_t bytes = 0; ///< Of its staged tree, as expected.
    bool isInStore = false;  ///< The store has this very version, and rpm's files are gone or its own.
    std::optional<std::string> stays; ///< Why the application stays in rpm.
    /// False if the survey met a failure of the machine, which is retried at the next start.
    bool isJudged = true;
};

/// The applications in the machine's rpm database, and which of them can be taken over. This is decided
/// before anything is staged, by rpm's records, the certificates, the store and the disk. Changes nothing
/// itself.
///
/// An application stays in rpm for good if rpm has a second record of its name, or if its tree could not be
/// made or published as a whole: for example, a link would lead nowhere, a foreign file stands at a target,
/// or another application has the same target. It stays for now if the machine is in the way: for example, a
/// target's place is read-only, immutable, a mount point, on a full disk, or reached by a link that is not
/// root's. If it shares a file with a package that stays, it stays like that package, for good or for now.
///
/// The survey finds the applications by one walk over rpm's records. Then it judges each application by
/// itself: it reads the record once more, and keeps only hashes of the paths, since all paths would take too
/// much memory. Applications with equal hashes may share a path. So it compares these once more, by the paths
/// themselves.
class RpmSurvey {
public:
    /// One record of rpm's, in the order of the database.
    struct Item {
        std::string id;
        RpmCandidate *candidate = nullptr; ///< Null for one without a developer's certificate.
    };

    /// The version of record of a package in the store, as IDatabase::packageInfo() tells it; nothing for one
    /// that is not installed.
    using InstalledVersion = std::function<std::optional<std::string>(const std::string &id)>;

    /// Leaves out `exceptIds`, the applications that are on their way already. An application stays in rpm if
    /// one of the trees `left` holds files that its record lists and that are missing on disk. It also stays
    /// if `installedVersion`, which tells whether the store has it, fails for it. A record that cannot be
    /// read is logged, and its package stays in rpm. `stagingDevice` is the filesystem of the staged trees.
    /// Raises as the signature database, forEachRecord(), read() below and PathFinder::find() do. `rpm` and
    /// `pathResolver` must outlive the object.
    RpmSurvey(const Common::Rpm::Transaction &rpm, InstalledVersion installedVersion,
              const IDatabasePathResolver &pathResolver, const std::set<std::string> &exceptIds,
              const std::vector<LeftTree> &left, std::uint64_t stagingDevice);

    const std::vector<Item> &items() const { return items_; }

    /// Whether rpm has no record of a package.
    bool isEmpty() const { return records_.empty() && !isDamaged_; }

    /// Whether rpm passed over records that it could not read.
    bool isDamaged() const { return isDamaged_; }

    /// Reads a candidate's record. The survey itself has logged its unexpected entries. Raises
    /// ErrorCode::Internal "Couldn't read the rpm database" when it is gone or unreadable, and as
    /// readApplication() does.
    InstalledApplication read(const RpmCandidate &candidate,
                              Common::Rpm::FileIterator::Unexpected unexpected =
                                  Common::Rpm::FileIterator::Unexpected::Silent) const;

    /// Makes a candidate stay after all, and with it those that share a file with it.
    void withdraw(RpmCandidate &candidate, const std::string &reason);

    /// Why an application stays.
    struct Failure {
        std::string reason;
        bool isJudgement = true;
    };

private:
    /// The objection to a candidate that shares nothing, and the number of the target that shows it. An
    /// objection of the machine comes after all targets.
    struct Objection {
        std::size_t target = 0;
        Failure failure;
    };

    /// What a look at a candidate by itself finds.
    struct Alone {
        bool hasTargets = false;
        std::optional<Objection> objection = {};
    };

    /// Of what stands at each target, where that was looked at already.
    using Attributes = std::vector<std::optional<std::uint32_t>>;

    void readRecord(const Common::Rpm::Reader &reader, const PackageSignatures::Database &signatures,
                    const std::set<std::string> &exceptIds, const std::vector<LeftTree> &left);
    void takeNames(RpmCandidate &candidate);
    Alone judgeAlone(std::size_t number, PlaceHashes &hashes);
    void addDirectories(const InstalledApplication &application, std::vector<PathHash> &directories);
    bool mayPublish(RpmCandidate &candidate, const InstalledApplication &application);
    void judgeStored(RpmCandidate &candidate, const std::string &installed,
                     const InstalledApplication &application) const;
    PackageOutline outlineOf(const JournalEntry &entry, const InstalledApplication &application,
                             const StandingFiles &standing) const;
    CompactPaths judgeTree(RpmCandidate &candidate, const InstalledApplication &application,
                           const StandingFiles &standing) const;
    std::optional<Objection> objectionAlone(const InstalledApplication &application,
                                            const StandingFiles &standing, const CompactPaths &targets,
                                            const PathIndex &files);
    std::optional<std::string> standingObjection(const std::string &target, bool isOwned, bool isOwn) const;
    std::string obstacleOfMachine(const InstalledApplication &application, const CompactPaths &targets,
                                  const Attributes &attributes);
    void readPaths(const RpmCandidate &candidate, const PathVisitor &file, const PathVisitor *target) const;
    void judgeTogether(std::size_t number, const Alone &alone);
    std::optional<std::string> targetObjection(std::size_t number, const PathOwners::Path &target) const;
    std::string idsOf(const std::vector<std::size_t> &numbers) const;
    void spread();

    const Common::Rpm::Transaction *rpm_;
    InstalledVersion installedVersion_;
    const IDatabasePathResolver *pathResolver_;
    std::uint64_t stagingDevice_;
    TargetPlaces targetPlaces_;
    std::vector<Item> items_;
    std::vector<std::unique_ptr<RpmCandidate>> candidates_;
    std::map<std::string, int> records_; ///< How many of each name.
    bool isDamaged_ = false;

    PathFinder places_;
    PathOwners owners_; ///< By the numbers of the candidates.
};

} // namespace Core::KELP
