#include "kelp/core/kelp/take-over/take-over.h"

#include "kelp/core/common/errors/error-category.h"
#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/errors/log-stream.h"
#include "kelp/core/common/files/directory.h"
#include "kelp/core/common/files/durable-file.h"
#include "kelp/core/common/files/path-tests.h"
#include "kelp/core/common/i-configuration.h"
#include "kelp/core/common/rpm/tags.h"
#include "kelp/core/common/rpm/transaction.h"
#include "kelp/core/kelp/package/descriptor.h"
#include "kelp/core/kelp/package/i-database-path-resolver.h"
#include "kelp/core/kelp/package/store-entry.h"
#include "kelp/core/kelp/package/store-names.h"
#include "kelp/core/kelp/registry/registry.h"
#include "kelp/core/kelp/take-over/record-erasure.h"
#include "kelp/core/kelp/take-over/rpm-survey.h"
#include "kelp/core/kelp/take-over/staging-area.h"
#include "kelp/core/kelp/take-over/take-over-store.h"
#include "kelp/core/kelp/take-over/target-exchange.h"

#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <iterator>

namespace fs = std::filesystem;

namespace Core::KELP {

namespace {

using Common::Directory;
using Common::Error;
using Common::ErrorCode;
using Common::LogLevel;
using Common::LogStream;
using Common::Rpm::Reader;
using Common::Rpm::Transaction;

namespace Tag = Common::Rpm::Tag;

constexpr const char *enabledUnits = "/etc/systemd";

/// A foreign file at a target is a judgement on the package, and not a failure of the machine.
bool isConflict(const std::exception &error) {
    const auto *ours = dynamic_cast<const Error *>(&error);
    return ours && ours->code() == Common::ErrorCategory::make(ErrorCode::FileConflict);
}

/// A failed look counts as there: then nothing is given up.
bool mayBeThere(const fs::path &path) {
    std::error_code ignored;
    return fs::symlink_status(path, ignored).type() != fs::file_type::not_found;
}

void logFailure(const std::string &id, const std::exception &error) {
    LogStream(LogLevel::Error) << "Failed to migrate " << id << " package from RPM to KELP";
    LogStream(LogLevel::Error) << error;
}

/// A file that the machine never lets go must not block a package that rpm has forgotten: it is logged and
/// left.
template<class Removal>
void unlessRefused(const Removal &removal) {
    try {
        removal();
    } catch (const fs::filesystem_error &error) {
        const int reason = error.code().value();
        if (reason != EPERM && reason != EBUSY && reason != EROFS && !Directory::isRefusal(error))
            throw;
        LogStream(LogLevel::Warning) << error;
    }
}

void removeIfEmpty(const fs::path &path) {
    if (const auto parent = Directory::byLinksOfRoot(path.parent_path()))
        parent->removeIfEmpty(path.filename());
}

void removeFile(const fs::path &path) {
    unlessRefused([&] {
        if (const auto parent = Directory::byLinksOfRoot(path.parent_path()))
            parent->removeFile(path.filename());
    });
}

/// Removes the links that enable a unit which is gone.
void removeLinksTo(const std::set<std::string> &files) {
    std::error_code error;
    for (fs::recursive_directory_iterator entry(enabledUnits, error), end; !error && entry != end;
         entry.increment(error)) {
        std::error_code ignored;
        if (entry->is_symlink(ignored) && files.contains(fs::read_symlink(entry->path(), ignored).native()))
            removeFile(entry->path());
    }
}

/// Adds the directory of each path, once for the neighbours in it.
template<class List>
void addDirectories(const List &list, std::set<fs::path> &places) {
    std::string last;
    for (const auto entry : list) {
        std::string directory = entry.path.substr(0, entry.path.rfind('/') + 1);
        if (directory != last)
            places.insert(directory);
        last = std::move(directory);
    }
}

std::vector<JournalledDirectory> deepestFirst(const std::vector<JournalledDirectory> &directories) {
    return {directories.rbegin(), directories.rend()};
}

std::vector<std::string> generatedDirectories(const JournalEntry &entry) {
    std::vector<std::string> directories;
    for (const JournalledDirectory &directory : entry.directories)
        if (directory.isGenerated)
            directories.emplace_back(directory.path);
    return directories;
}

std::vector<std::string> targetsOf(const JournalEntry &entry) {
    std::vector<std::string> targets;
    targets.reserve(entry.targets.size());
    for (const JournalledTarget target : entry.targets)
        targets.push_back(target.path);
    return targets;
}

} // namespace

TakeOver::TakeOver(Transaction &rpm, TakeOverStore &store, const IDatabasePathResolver &pathResolver,
                   const IConfiguration &configuration, const StagingArea &area, const Arrival &arrival) :
    rpm_(&rpm),
    store_(&store),
    pathResolver_(&pathResolver),
    configuration_(&configuration),
    area_(&area),
    arrival_(&arrival) {}

void TakeOver::settle(std::vector<JournalEntry> entries) {
    requireDisks(entries);
    std::vector<const JournalEntry *> asked;
    asked.reserve(entries.size());
    for (const JournalEntry &entry : entries)
        asked.push_back(&entry);
    const auto headers = headersOf(asked);
    Group group;
    for (JournalEntry &entry : entries) {
        try {
            const Header header = headers.at(entry.id);
            if (goesOn(entry, header)) {
                // Known before any failure could roll it back. Without its header it cannot be, and gets
                // new lists in place of those that cannot be read.
                const bool isWhole =
                    header == Header::Same &&
                    store_->isRecorded(entry.id, targetsOf(entry), generatedDirectories(entry));
                group.push_back({std::move(entry), header == Header::Same, isWhole});
            }
        } catch (const std::exception &error) {
            logFailure(entry.id, error);
            failure_ = failure_ ? failure_ : std::current_exception();
            keep(entry);
        }
    }
    carryOut(group);
}

void TakeOver::carryOut(std::vector<JournalEntry> entries) {
    Group group;
    for (JournalEntry &entry : entries)
        group.push_back({std::move(entry), true});
    carryOut(group);
}

/// With an unmounted disk it would seem that nothing was staged.
void TakeOver::requireDisks(const std::vector<JournalEntry> &entries) const {
    for (const JournalEntry &entry : entries)
        if (markOf(configuration_->databaseDirectory()) != entry.store ||
            markOf(configuration_->tempDirectory()) != entry.staging)
            throw Error(ErrorCode::Internal, "The disks of the store and of the temporary directory are not "
                                             "those of the take-over journal");
}

std::map<std::string, TakeOver::Header>
TakeOver::headersOf(const std::vector<const JournalEntry *> &entries) const {
    std::map<std::string, const JournalEntry *> wanted;
    std::map<std::string, Header> headers;
    for (const JournalEntry *entry : entries) {
        wanted[entry->id] = entry;
        headers[entry->id] = Header::Gone;
    }
    const auto walk = rpm_->forEachInstalled([&](const Reader &reader) {
        const auto found = wanted.find(reader.tagOr(Tag::Name, ""));
        if (found == wanted.end())
            return;
        Header &header = headers.at(found->first);
        const JournalEntry &entry = *found->second;
        if (header != Header::Gone || headerDigest(reader) != entry.digest)
            header = Header::Other;
        else
            header = Common::Rpm::databaseInstance(reader) == entry.instance ? Header::Same : Header::Again;
    });
    // An unreadable record may be the wanted one, which would then seem gone. After a cut nobody knows how
    // many are missing.
    const bool isWhole = walk == Transaction::Walk::Complete ||
                         (walk == Transaction::Walk::Damaged && isDamageExpected_ && areReadable(entries));
    if (!isWhole)
        throw Error(ErrorCode::Internal, "The rpm database has records that cannot be read");
    return headers;
}

bool TakeOver::areReadable(const std::vector<const JournalEntry *> &entries) const {
    return std::ranges::none_of(entries, [&](const JournalEntry *entry) {
        return rpm_->lookUp(entry->instance) == Transaction::Record::Unreadable;
    });
}

/// One rename moves the tree between its places, and one drops the staged tree.
bool TakeOver::isStaged(const JournalEntry &entry) const {
    return mayBeThere(entry.path);
}

fs::path TakeOver::treeOf(const JournalEntry &entry) const {
    return isStaged(entry) ? entry.path : pathResolver_->versionDirectory(entry.id, entry.version);
}

TargetExchange TakeOver::exchangeOf(const JournalEntry &entry) {
    return {entry, treeOf(entry), fs::absolute(pathResolver_->currentDirectory(entry.id)), identities_};
}

/// Puts the remnants of a killed run in order, and tells whether the package's take-over goes on.
bool TakeOver::goesOn(const JournalEntry &entry, Header header) {
    const fs::path version = pathResolver_->versionDirectory(entry.id, entry.version);
    const StoreEntry::Slot current = StoreEntry(*pathResolver_, entry.id).slot(PackageSlot::Current);
    if (current.isForeign() || (current.counts() && current.version != entry.version))
        throw Error(ErrorCode::Internal, "Package " + entry.id + " already installed");
    const bool isPlaced = !isStaged(entry) && mayBeThere(version);
    TargetExchange exchange = exchangeOf(entry);
    if (header == Header::Again || header == Header::Other) {
        giveWayToRpm(entry, header);
        return false;
    }
    exchange.settleNames(isPlaced || header == Header::Gone);
    if (header == Header::Same && !isPlaced) {
        // Nothing was published, or it was rolled back: rpm has the application.
        dropTree(entry);
        return false;
    }
    if (isPlaced || isStaged(entry)) {
        describe(entry);
        return true;
    }
    exchange.takeBack();
    LogStream(LogLevel::Error) << "Package " << entry.id
                               << " is neither in RPM nor in KELP, and nothing of it is left";
    // Otherwise no record of it would be left, and `kelpctl status` could not call it lost.
    noteInstallation(entry);
    return false;
}

/// If somebody has removed the descriptor meanwhile, the journal has all that it says. Not through a link in
/// the tree's place, which is not ours.
void TakeOver::describe(const JournalEntry &entry) const {
    if (const fs::path tree = treeOf(entry); !Common::isSymlink(tree))
        ensureDescriptor(tree / StoreName::descriptor, entry, entry.extras, Common::Durability::Deferred);
}

template<class Step>
void TakeOver::forEach(Group &group, const Step &step) {
    std::erase_if(group, [&](Moving &package) {
        try {
            step(package);
            return false;
        } catch (const std::exception &error) {
            abandon(package, error);
            return true;
        }
    });
}

void TakeOver::carryOut(Group &group) {
    forEach(group, [&](const Moving &package) { store_->place(package.entry); });
    // A power cut must not leave a staged tree beside targets that are the store's.
    flush(group, {configuration_->databaseDirectory()});
    prepare(group);
    forEach(group, [&](Moving &package) { publish(package); });
    std::set<fs::path> places = ownPlaces();
    for (const Moving &package : group)
        places.merge(placesOf(package.entry));
    flush(group, places);
    forget(group);
    forEach(group, [&](const Moving &package) { clear(package.entry); });
    arrive(group);
    conclude();
}

/// After a failed flush none of the packages counts as durable.
void TakeOver::flush(Group &group, const std::set<fs::path> &places) {
    if (group.empty())
        return;
    try {
        Common::flushFilesystems(places);
    } catch (const std::exception &error) {
        for (const Moving &package : group)
            abandon(package, error);
        group.clear();
    }
}

/// One flush for the copies of all packages.
void TakeOver::prepare(Group &group) {
    std::set<fs::path> places;
    forEach(group, [&](const Moving &package) {
        if (exchangeOf(package.entry).prepare())
            places.merge(placesOf(package.entry));
    });
    if (!places.empty())
        flush(group, places);
}

void TakeOver::publish(Moving &package) {
    const JournalEntry &entry = package.entry;
    TargetExchange exchange = exchangeOf(entry);
    // Without its header there is no way back, and a whole package was published before.
    const bool mayFail = package.hasHeader && !package.isWhole;
    exchange.publish(mayFail ? TargetExchange::Obstacles::Raise : TargetExchange::Obstacles::PassOver);
    // Lists that stand while the header exists prove that the package is whole. Rewritten without files that
    // are foreign by now they would not, and the next start would roll it back.
    if (mayFail || !package.hasHeader)
        store_->record(entry.id, exchange.published(), generatedDirectories(entry));
    package.isWhole = true;
}

/// The application is not removed, it moves: no script may run.
void TakeOver::forget(Group &group) {
    std::vector<const JournalEntry *> entries;
    std::set<std::uint32_t> instances;
    for (const Moving &package : group) {
        entries.push_back(&package.entry);
        if (package.hasHeader)
            instances.insert(package.entry.instance);
    }
    // Returns the memory that staging and publication have freed: librpm takes several times a header.
    ::malloc_trim(0);
    forgetRecords(*rpm_, instances);
    // By name as well: rpm's result proves nothing, and a new record may have appeared.
    const auto headers = headersOf(entries);
    forEach(group, [&](Moving &package) {
        const std::string &id = package.entry.id;
        if (headers.at(id) != Header::Gone)
            throw Error(ErrorCode::Internal, "Couldn't erase " + id + " package from the rpm database");
        package.hasHeader = false;
    });
    // Cleared files cannot be restored: no power cut may bring the header back after that.
    flush(group, {Common::Rpm::databaseDirectory()});
}

/// From here on only the store has the package. Each step is repeated after a kill.
void TakeOver::clear(const JournalEntry &entry) {
    addDirectories(entry.targets, written_);
    addDirectories(entry.files, written_);
    exchangeOf(entry).clear();
    if (const std::set<std::string> gone = clearFiles(entry); !gone.empty()) {
        removeLinksTo(gone);
        written_.insert(enabledUnits);
    }
    clearDirectories(entry);
    LogStream(LogLevel::Info) << "Package " << entry.id << " successfully migrated from RPM to KELP";
    noteInstallation(entry);
}

/// Last, with the packages in place. If it fails for one, that stays in the journal, and the next start
/// repeats all of this.
void TakeOver::arrive(Group &group) {
    if (!*arrival_ || group.empty())
        return;
    std::vector<PackageInformation> arrived;
    forEach(group, [&](const Moving &package) { arrived.push_back(store_->packageInfo(package.entry.id)); });
    const ArrivalFailures failures = (*arrival_)(arrived);
    forEach(group, [&](const Moving &package) {
        if (const auto failure = failures.find(package.entry.id); failure != failures.end())
            std::rethrow_exception(failure->second);
    });
}

/// Removes files whose places get no published file: documents, and files without a mapping. Returns those
/// that are gone. Files that a killed start removed count too: their links may remain.
std::set<std::string> TakeOver::clearFiles(const JournalEntry &entry) {
    std::set<std::size_t> published;
    for (const JournalledTarget target : entry.targets)
        if (target.file)
            published.insert(*target.file);
    std::set<std::string> gone;
    for (std::size_t i = 0; i < entry.files.size(); ++i) {
        const JournalledFile file = entry.files[i];
        if (!file.identity || published.contains(i))
            continue;
        const auto now = Common::identityAt(file.path);
        if (now && identities_.isSame(*file.identity, *now) && !rpm_->isOwned(file.path))
            removeFile(file.path);
        if (!mayBeThere(file.path))
            gone.insert(file.path);
        else if (!now)
            // Not retried: one file that cannot be looked at must not keep a whole package from arriving.
            LogStream(LogLevel::Warning) << "Couldn't look at " << fs::path(file.path) << ", which stays";
    }
    return gone;
}

void TakeOver::clearDirectories(const JournalEntry &entry) const {
    for (const JournalledDirectory &directory : deepestFirst(entry.directories))
        if (directory.isRecorded && !directory.isGenerated && !rpm_->isOwned(directory.path))
            unlessRefused([&] { removeIfEmpty(directory.path); });
}

/// Gives a failed package back to rpm, unless it is whole in the store or rpm has forgotten it.
void TakeOver::abandon(const Moving &package, const std::exception &error) {
    logFailure(package.entry.id, error);
    if (!isConflict(error))
        failure_ = failure_ ? failure_ : std::current_exception();
    if (!package.hasHeader || package.isWhole) {
        keep(package.entry);
        return;
    }
    try {
        takeBack(package.entry);
    } catch (const std::exception &second) {
        LogStream(LogLevel::Error) << second;
        LogStream(LogLevel::Error) << "Couldn't give " << package.entry.id << " package back to RPM";
        failure_ = failure_ ? failure_ : std::current_exception();
        keep(package.entry);
    }
}

/// Keeps its tree and its place in the journal: the next start retries.
void TakeOver::keep(const JournalEntry &entry) {
    left_.push_back(entry);
}

/// The targets are on disk before the tree goes. After an earlier kill the next start publishes anew; after a
/// later one it finds that rpm has the application.
void TakeOver::takeBack(const JournalEntry &entry) {
    exchangeOf(entry).takeBack();
    removeMadeDirectories(entry);
    Common::flushFilesystems(placesOf(entry));
    dropTree(entry);
}

/// Removes the directories that did not exist before the publication.
void TakeOver::removeMadeDirectories(const JournalEntry &entry) const {
    for (const JournalledDirectory &directory : deepestFirst(entry.directories))
        if (directory.isAbsent && !rpm_->isOwned(directory.path))
            removeIfEmpty(directory.path);
}

/// One rename takes the whole package out of the store: piece by piece, a crash would leave a remnant that
/// looks like a package.
void TakeOver::dropTree(const JournalEntry &entry) const {
    const fs::path package = pathResolver_->packageDirectory(entry.id);
    if (isStaged(entry)) {
        area_->giveUp(entry.path);
        // The directory was made for the tree that did not come. A foreign file or link of its name stays.
        ::rmdir(package.c_str());
    } else if (StoreEntry(*pathResolver_, entry.id).kind() == StoreEntry::Kind::Directory) {
        rescueForeign(entry);
        area_->giveUp(package);
    }
}

void TakeOver::rescueForeign(const JournalEntry &entry) const {
    const std::set<std::string> own = {entry.version, StoreName::current, StoreName::next};
    std::vector<fs::path> foreign;
    for (const fs::directory_entry &found : fs::directory_iterator(pathResolver_->packageDirectory(entry.id)))
        if (!own.contains(found.path().filename()))
            foreign.push_back(found.path());
    for (const fs::path &path : foreign)
        LogStream(LogLevel::Warning) << path << " is not of the package, and is kept in "
                                     << area_->rescue(path, entry.id + "-" + path.filename().string());
}

/// rpm has installed the package again since. That one counts, and the survey finds it.
void TakeOver::giveWayToRpm(const JournalEntry &entry, Header header) {
    exchangeOf(entry).giveBack([&](const std::string &path) { return rpm_->isOwned(path); });
    removeMadeDirectories(entry);
    Common::flushFilesystems(placesOf(entry));
    const fs::path tree = treeOf(entry);
    if (header == Header::Other && mayBeThere(tree)) {
        const fs::path place = area_->rescue(tree, entry.id + "-" + entry.version);
        LogStream(LogLevel::Warning) << "Package " << entry.id
                                     << " was installed by RPM again, and the copy of before is kept in "
                                     << place;
    }
    dropTree(entry);
}

void TakeOver::noteInstallation(const JournalEntry &entry) {
    const auto keyId = entry.extras.find("certificate.id");
    if (keyId == entry.extras.end())
        LogStream(LogLevel::Warning) << "A record of package installation cannot be saved to the registry: "
                                     // Misspelt on purpose: people search logs for these words.
                                     << entry.id << " (udefined developer key id)";
    else
        installations_.emplace_back(RegistryEvent::Install, std::time(nullptr), entry.id, keyId->second);
}

/// One replacement of the registry for the whole group. After an earlier kill the next start finds the
/// journal and notes them all again.
void TakeOver::recordInstallations() {
    if (!installations_.empty() && !Registry().writeRecords(installations_))
        for (const RegistryRecord &record : installations_)
            LogStream(LogLevel::Warning)
                << "Couldn't add a package installation record to the registry: " << record.packageId();
    // An unwritable registry stops nothing: `kelpctl doctor` finds the missing lines.
    installations_.clear();
}

std::set<fs::path> TakeOver::placesOf(const JournalEntry &entry) const {
    std::set<fs::path> places;
    addDirectories(entry.targets, places);
    return places;
}

std::set<fs::path> TakeOver::ownPlaces() const {
    return {configuration_->databaseDirectory(), configuration_->tempDirectory(),
            TakeOverJournal::path().parent_path()};
}

/// The journal forgets packages only after they are whole and durable.
void TakeOver::conclude() {
    recordInstallations();
    written_.merge(ownPlaces());
    written_.insert(Common::Rpm::databaseDirectory());
    Common::flushFilesystems(written_);
    written_.clear();
    if (left_.empty())
        TakeOverJournal::remove();
    else
        TakeOverJournal::write(left_);
}

} // namespace Core::KELP
