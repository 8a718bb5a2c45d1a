#include "kelp/core/kelp/take-over/rpm-migration.h"

#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/errors/log-stream.h"
#include "kelp/core/common/files/filesystem.h"
#include "kelp/core/common/i-configuration.h"
#include "kelp/core/common/rpm/tags.h"
#include "kelp/core/common/stop-signals.h"
#include "kelp/core/kelp/package/i-database-path-resolver.h"
#include "kelp/core/kelp/take-over/lost-database.h"
#include "kelp/core/kelp/take-over/record-erasure.h"
#include "kelp/core/kelp/take-over/rpm-staging.h"
#include "kelp/core/kelp/take-over/take-over-store.h"

#include <malloc.h>

#include <algorithm>

namespace fs = std::filesystem;

namespace Core::KELP {

namespace {

using Common::Error;
using Common::ErrorCode;
using Common::LogLevel;
using Common::LogStream;
using Common::Rpm::Reader;
using Common::Rpm::Transaction;

namespace Tag = Common::Rpm::Tag;

/// Room that rpm needs for its database.
constexpr std::uint64_t marginForRpm = 8U << 20;

/// A group costs a few flushes, and is kept in memory as a whole.
constexpr std::size_t groupAtMost = 64;

/// The texts of more files take megabytes.
constexpr std::size_t manyFiles = 10'000;

/// Below this the disk counts as full, after any failure.
constexpr std::uint64_t marginForCopies = 64U << 10;

void logStaying(const std::string &id, const std::string &reason) {
    LogStream(LogLevel::Error) << "Failed to copy package " << id << " files with mappings: " << reason;
}

Error noRoom(const std::string &id) {
    return {ErrorCode::Filesystem, "There is no room to take over " + id + " package"};
}

/// An unanswered question counts as "no": then nothing is given up.
template<class Question>
bool unlessItFails(const Question &question) {
    try {
        return question();
    } catch (const std::exception &error) {
        LogStream(LogLevel::Warning) << error;
        return false;
    }
}

template<class Step>
void tryToClear(const Step &clear) {
    try {
        clear();
    } catch (const std::exception &error) {
        LogStream(LogLevel::Warning) << "Couldn't cleanup database temporary directory";
        LogStream(LogLevel::Warning) << error;
    }
}

} // namespace

void RpmMigration::requireRoomForRpm() {
    const fs::path directory = Common::Rpm::databaseDirectory();
    if (Common::freeSpace(directory) < marginForRpm)
        throw Error(ErrorCode::Filesystem, "There is too little free space for rpm: " + directory.string());
}

RpmMigration::RpmMigration(const IConfiguration &configuration, const IDatabasePathResolver &pathResolver,
                           TakeOverStore &store, const TakeOver::Arrival &arrival) :
    configuration_(&configuration),
    pathResolver_(&pathResolver),
    store_(&store),
    area_(configuration),
    rpm_(Transaction::WriteLock),
    takeOver_(rpm_, store, pathResolver, configuration, area_, arrival) {
    rpm_.addFlags(Transaction::NoPlugins);
    rpm_.setProgressCallback();
}

std::exception_ptr RpmMigration::failure() const {
    return failure_ ? failure_ : takeOver_.failure();
}

void RpmMigration::note(std::exception_ptr failure) {
    if (!this->failure())
        failure_ = std::move(failure);
}

void RpmMigration::noteError(const Error &error) {
    LogStream(LogLevel::Error) << error;
    note(std::make_exception_ptr(error));
}

void RpmMigration::logStay(const RpmCandidate &candidate) {
    logStaying(candidate.entry.id, *candidate.stays);
    if (!candidate.isJudged)
        note(std::make_exception_ptr(Error(ErrorCode::Internal, *candidate.stays)));
}

std::set<std::string> RpmMigration::idsLeft() const {
    std::set<std::string> ids;
    for (const JournalEntry &entry : takeOver_.left())
        ids.insert(entry.id);
    return ids;
}

void RpmMigration::run() {
    // First: the later steps clear the directory.
    area_.requireOwn();
    takeUp();
    const auto installedVersion = [this](const std::string &id) {
        return store_->isInstalled(id) ? std::optional(store_->packageInfo(id).at("general.version"))
                                       : std::nullopt;
    };
    RpmSurvey survey(rpm_, installedVersion, *pathResolver_, idsLeft(), leftTrees(),
                     Common::deviceOf(configuration_->tempDirectory()));
    if (survey.isEmpty())
        requireEmptyDatabaseOf(*configuration_, removedByRegistry());
    if (survey.isDamaged()) {
        const Error error(ErrorCode::Internal, "The rpm database has records that cannot be read");
        if (!takeOver_.left().empty())
            // A journalled package may be among the unreadable ones, and would seem erased.
            throw error;
        LogStream(LogLevel::Warning) << error;
        // With the stamp the applications of these records would stay in rpm for good, and nothing judged
        // them.
        note(std::make_exception_ptr(error));
        takeOver_.expectDamage();
    }
    dropStored(survey);
    takeOverInGroups(survey);
    copyFailures_.conclude();
}

void RpmMigration::requireRecords() const {
    bool hasRecord = false;
    const auto walk = rpm_.forEachInstalled([&](const Reader &) { hasRecord = true; });
    if (!hasRecord && walk == Transaction::Walk::Complete)
        requireEmptyDatabaseOf(*configuration_, removedByRegistry());
}

void RpmMigration::takeUp() {
    std::vector<JournalEntry> entries = TakeOverJournal::read(configuration_->tempDirectory());
    if (!entries.empty()) {
        // To a database of another machine, all that the journal names would seem erased.
        requireRecords();
        takeOver_.settle(std::move(entries));
    }
    // Cleared only now: trees that the journal still names may be the only copies.
    std::set<fs::path> kept;
    for (const JournalEntry &entry : takeOver_.left())
        kept.insert(entry.path);
    // Scrap that stays, as with a mount in it, must not keep other trees from being cleared or rescued.
    tryToClear([&] { area_.clearScrap(kept); });
    tryToClear([&] { clearArea(kept); });
}

/// Removes trees that no journal names, if rpm or the store has all their files, and keeps the others.
void RpmMigration::clearArea(const std::set<fs::path> &kept) {
    std::vector<LeftTree> trees;
    for (const fs::path &leftover : area_.leftovers(kept))
        if (!StagingArea::isScrap(leftover))
            trees.emplace_back(leftover);
    if (trees.empty())
        return;
    for (const LeftTree &tree : treesNeededNoMore(trees))
        area_.giveUp(tree.path());
    for (const LeftTree &tree : trees)
        rescue(tree);
}

/// Takes them out of `trees`.
std::vector<LeftTree> RpmMigration::treesNeededNoMore(std::vector<LeftTree> &trees) const {
    std::set<fs::path> found;
    std::set<fs::path> missed;
    rpm_.forEachInstalled([&](const Reader &record) {
        const std::string id = record.tagOr(Tag::Name, "");
        const std::string version = record.tagOr(Tag::Version, "") + "-" + record.tagOr(Tag::Release, "");
        for (const LeftTree &tree : trees)
            if (tree.isOf(id, version))
                (unlessItFails([&] { return !tree.holdsMissingFile(record); }) ? found : missed)
                    .insert(tree.path());
    });
    const auto isNeeded = [&](const LeftTree &tree) {
        const bool isInRpm = found.contains(tree.path()) && !missed.contains(tree.path());
        return !isInRpm && !unlessItFails([&] { return tree.isWholeInStore(*pathResolver_); });
    };
    const auto end = std::stable_partition(trees.begin(), trees.end(), isNeeded);
    std::vector<LeftTree> others(end, trees.end());
    trees.erase(end, trees.end());
    return others;
}

/// A tree that cannot be moved away stays. Its application then stays in rpm, since the tree is in the way of
/// staging.
void RpmMigration::rescue(const LeftTree &tree) {
    try {
        const fs::path place = area_.rescue(tree.path(), tree.name());
        LogStream(LogLevel::Error) << "What an earlier start has left of " << tree.path().filename().string()
                                   << " is kept in " << place;
    } catch (const std::exception &error) {
        LogStream(LogLevel::Error) << error;
        note(std::current_exception());
    }
}

std::vector<LeftTree> RpmMigration::leftTrees() const {
    return LeftTree::rescued(*configuration_);
}

/// Drops rpm's records of packages that are whole in the store.
void RpmMigration::dropStored(const RpmSurvey &survey) {
    std::set<std::uint32_t> instances;
    for (const RpmSurvey::Item &item : survey.items())
        if (item.candidate && item.candidate->isInStore)
            instances.insert(item.candidate->entry.instance);
    if (instances.empty())
        return;
    // No script may run: the package is in use, from the store.
    const auto left = forgetRecords(rpm_, instances);
    for (const RpmSurvey::Item &item : survey.items())
        if (item.candidate && left.contains(item.candidate->entry.instance))
            noteError({ErrorCode::Internal, "Couldn't erase " + item.id + " package from the rpm database"});
}

void RpmMigration::takeOverInGroups(RpmSurvey &survey) {
    Waiting waiting(survey.items().begin(), survey.items().end());
    while (!waiting.empty()) {
        // A group that has begun is completed.
        if (Common::stopRequested())
            throw Error(ErrorCode::Internal, "Asked to stop between two groups of packages");
        std::vector<JournalEntry> group = prepareRpmPackagesForMigration(survey, waiting);
        // Nothing is waiting, or nothing of it could be staged.
        if (group.empty())
            break;
        secure(group);
        takeOver_.carryOut(std::move(group));
    }
    for (const RpmSurvey::Item &item : waiting) {
        const Error error = noRoom(item.id);
        logStaying(item.id, error.what());
        note(std::make_exception_ptr(error));
    }
}

/// Stages as many of the waiting as fit; those that do not fit wait on. Each package's lines come here, in
/// the order of rpm's database, and once.
std::vector<JournalEntry> RpmMigration::prepareRpmPackagesForMigration(RpmSurvey &survey, Waiting &waiting) {
    std::vector<Staged> staged;
    Waiting rest;
    for (const RpmSurvey::Item &item : waiting) {
        if (!item.candidate)
            LogStream(LogLevel::Warning) << "Package " << item.id << " doesn't have developer certificate";
        else if (item.candidate->stays)
            logStay(*item.candidate);
        else if (!item.candidate->isInStore && staged.size() < groupAtMost &&
                 fits(*item.candidate, staged.size() + 1))
            stage(survey, *item.candidate, staged, rest);
        else if (!item.candidate->isInStore)
            rest.push_back(item);
    }
    waiting = std::move(rest);
    std::vector<JournalEntry> group;
    group.reserve(staged.size());
    for (Staged &package : staged)
        group.push_back(std::move(package.entry));
    return group;
}

std::uint64_t RpmMigration::spaceBesideCopies(const IConfiguration &configuration, std::size_t count) {
    const std::uint64_t margin =
        Common::isSameFilesystem(configuration.databaseDirectory(), Common::Rpm::databaseDirectory())
            // rpm's database grows and shrinks on the same space.
            ? marginForRpm
            : marginForCopies;
    return count * StagingArea::spacePerPackage() + margin;
}

/// Trees staged before have taken their space by now, except for the store's own files beside them.
bool RpmMigration::fits(const RpmCandidate &candidate, std::size_t count) const {
    return candidate.bytes + spaceBesideCopies(*configuration_, count) <= area_.room();
}

void RpmMigration::stage(RpmSurvey &survey, RpmCandidate &candidate, std::vector<Staged> &staged,
                         Waiting &rest) {
    JournalEntry entry = candidate.entry;
    entry.path = area_.treeOf(entry.id);
    try {
        makeStagingDirectory(entry.path);
    } catch (const std::exception &error) {
        // A tree there is of an earlier start, and must not be thrown away.
        note(std::current_exception());
        leave(survey, candidate, error.what(), staged);
        return;
    }
    try {
        makeTree(survey, candidate, entry);
        staged.push_back({&candidate, std::move(entry)});
    } catch (const std::exception &error) {
        // Asked before the removal of the tree makes room: an application that only lacked space waits for
        // the next group.
        const bool isFull = area_.room() < marginForCopies;
        discardTree(entry);
        if (isFull) {
            rest.push_back({entry.id, &candidate});
        } else {
            noteCopyFailure(entry.id, error);
            leave(survey, candidate, error.what(), staged);
        }
    }
}

void RpmMigration::makeTree(const RpmSurvey &survey, const RpmCandidate &candidate, JournalEntry &entry) {
    {
        const InstalledApplication application = survey.read(candidate);
        stageInstalledPackage(application,
                              fs::absolute(pathResolver_->versionDirectory(entry.id, entry.version)), entry);
        noteTargets(application.package, fs::absolute(pathResolver_->currentDirectory(entry.id)), entry);
    }
    // Returns the memory that staging has freed, before librpm loads a header.
    if (entry.files.size() > manyFiles)
        ::malloc_trim(0);
    listContents(rpm_, entry);
    // The descriptor now, so that the group's one flush covers both.
    store_->describeStaged(entry, entry.extras);
}

/// A failure of the machine withholds the stamp, unless it is permanent.
void RpmMigration::noteCopyFailure(const std::string &id, const std::exception &error) {
    const auto *copyError = dynamic_cast<const CopyError *>(&error);
    if (!copyError || !copyFailures_.note(id, *copyError))
        note(std::current_exception());
}

/// The tree is useless: rpm has everything.
void RpmMigration::discardTree(const JournalEntry &entry) const {
    try {
        area_.giveUp(entry.path);
    } catch (const std::exception &error) {
        // The next start finds it.
        LogStream(LogLevel::Warning) << error;
    }
}

/// Makes a package stay, and with it those that share a file with it: staged ones here, the others when their
/// turn comes.
void RpmMigration::leave(RpmSurvey &survey, RpmCandidate &candidate, const std::string &reason,
                         std::vector<Staged> &staged) const {
    logStaying(candidate.entry.id, reason);
    survey.withdraw(candidate, reason);
    std::erase_if(staged, [this](const Staged &other) {
        if (!other.candidate->stays)
            return false;
        logStaying(other.entry.id, *other.candidate->stays);
        discardTree(other.entry);
        return true;
    });
}

/// From here on the next start goes by the journal.
void RpmMigration::secure(std::vector<JournalEntry> &group) {
    try {
        area_.secure();
        // Only now: in an overlay a directory changes its identity with the first entry made in it.
        for (JournalEntry &entry : group) {
            entry.store = markOf(configuration_->databaseDirectory());
            entry.staging = markOf(configuration_->tempDirectory());
        }
        // A lack of room must show here, and not in the middle of rpm's work on its database.
        requireRoomForRpm();
        // The file is replaced as a whole: without these it would forget packages that are on their way.
        TakeOverJournal::write(takeOver_.left(), group);
    } catch (...) {
        // The journal may be written already, with only its flush failed. If it must stay for other packages,
        // the next start finds that nothing of these was published.
        std::error_code ignored;
        if (takeOver_.left().empty())
            fs::remove(TakeOverJournal::path(), ignored);
        for (const JournalEntry &entry : group)
            discardTree(entry);
        throw;
    }
}

} // namespace Core::KELP
