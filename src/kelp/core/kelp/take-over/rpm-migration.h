#pragma once

#include "kelp/core/common/rpm/transaction.h"
#include "kelp/core/kelp/take-over/copy-failures.h"
#include "kelp/core/kelp/take-over/left-tree.h"
#include "kelp/core/kelp/take-over/rpm-survey.h"
#include "kelp/core/kelp/take-over/staging-area.h"
#include "kelp/core/kelp/take-over/take-over.h"

#include <deque>
#include <exception>
#include <optional>
#include <string>
#include <vector>

namespace Core::KELP {

/// The take-over of rpm's applications, in groups that fit into the free space. Each group is staged, written
/// to the journal, published, and then forgotten by rpm (TakeOver). docs/architecture.md has its states.
///
/// What holds at every moment:
/// - A journal is written only after every tree that it names is complete and on disk.
/// - Only targets that a journal on disk names are touched.
/// - A tree that a journal names is not cleared from the temporary directory.
class RpmMigration {
public:
    /// All arguments must outlive the object, which has rpm's lock as long as it lives. `arrival`: see
    /// TakeOver. Raises as Common::Rpm::Transaction does.
    RpmMigration(const IConfiguration &configuration, const IDatabasePathResolver &pathResolver,
                 TakeOverStore &store, const TakeOver::Arrival &arrival);

    /// Completes or undoes what an earlier run left, then takes over the applications that rpm still holds.
    /// Raises what stops the run as a whole:
    /// - rpm's database cannot be read, or its disk has no room for changes;
    /// - rpm's database is empty and cannot be this machine's, or has unreadable records while the journal
    ///   names packages;
    /// - the signature database, the journal or the disks that the journal names cannot be used;
    /// - a directory with an application's file or target, or with rescued trees, cannot be looked at;
    /// - the temporary directory is not the package manager's own, not on the store's filesystem, or cannot
    ///   be looked at;
    /// - a group's copies, or its last changes, cannot be flushed;
    /// - a stop signal came; a group that has begun is completed first.
    /// Nothing is lost then: completed groups are in the store, and the next run goes on with the others.
    void run();

    /// The first failure that kept an application from arriving while the others were taken over; null
    /// without one.
    std::exception_ptr failure() const;

    // The migration's own criteria, for `kelpctl plan`.

    /// The bytes that must be free for a group of `count` packages, beside their copies: for the store's own
    /// files, and for rpm if its database is on the same filesystem.
    static std::uint64_t spaceBesideCopies(const IConfiguration &configuration, std::size_t count);

    /// Raises ErrorCode::Filesystem when rpm's database has no room to change.
    static void requireRoomForRpm();

private:
    using Waiting = std::deque<RpmSurvey::Item>;

    struct Staged {
        RpmCandidate *candidate;
        JournalEntry entry;
    };

    void requireRecords() const;
    void takeUp();
    void clearArea(const std::set<std::filesystem::path> &kept);
    std::vector<LeftTree> treesNeededNoMore(std::vector<LeftTree> &trees) const;
    void rescue(const LeftTree &tree);
    std::vector<LeftTree> leftTrees() const;
    void dropStored(const RpmSurvey &survey);
    void takeOverInGroups(RpmSurvey &survey);
    std::vector<JournalEntry> prepareRpmPackagesForMigration(RpmSurvey &survey, Waiting &waiting);
    bool fits(const RpmCandidate &candidate, std::size_t count) const;
    void stage(RpmSurvey &survey, RpmCandidate &candidate, std::vector<Staged> &staged, Waiting &rest);
    void makeTree(const RpmSurvey &survey, const RpmCandidate &candidate, JournalEntry &entry);
    void leave(RpmSurvey &survey, RpmCandidate &candidate, const std::string &reason,
               std::vector<Staged> &staged) const;
    void noteCopyFailure(const std::string &id, const std::exception &error);
    void discardTree(const JournalEntry &entry) const;
    void secure(std::vector<JournalEntry> &group);
    void note(std::exception_ptr failure);
    void noteError(const Common::Error &error);
    void logStay(const RpmCandidate &candidate);
    std::set<std::string> idsLeft() const;

    const IConfiguration *configuration_;
    const IDatabasePathResolver *pathResolver_;
    TakeOverStore *store_;
    StagingArea area_;
    Common::Rpm::Transaction rpm_;
    TakeOver takeOver_;
    CopyFailures copyFailures_;
    std::exception_ptr failure_;
};

} // namespace Core::KELP
