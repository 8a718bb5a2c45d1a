#include "kelp/core/kelp/take-over/take-over-settlement.h"

#include "kelp/core/common/errors/error-category.h"
#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/errors/log-stream.h"
#include "kelp/core/common/files/durable-file.h"
#include "kelp/core/common/files/filesystem.h"
#include "kelp/core/common/files/path-tests.h"
#include "kelp/core/common/i-configuration.h"
#include "kelp/core/common/rpm/tags.h"
#include "kelp/core/common/rpm/transaction.h"
#include "kelp/core/kelp/mappings/mapping-table.h"
#include "kelp/core/kelp/package/i-database-path-resolver.h"
#include "kelp/core/kelp/package/path-list.h"
#include "kelp/core/kelp/registry/registry-record.h"
#include "kelp/core/kelp/registry/registry.h"
#include "kelp/core/kelp/take-over/rpm-erasure.h"
#include "kelp/core/kelp/take-over/rpm-survey.h"
#include "kelp/core/kelp/take-over/staging-area.h"
#include "kelp/core/kelp/take-over/take-over-store.h"

#include <sys/stat.h>

#include <algorithm>
#include <ctime>

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

constexpr const char *savedSuffix = ".rpmsave"; ///< rpm's, for a configuration file that was changed.

bool isConflict(const Error &error) {
    return error.code() == Common::ErrorCategory::make(ErrorCode::FileConflict);
}

/// What the disk does not tell counts as there: forward is the way on which nothing is given up.
bool mayBeThere(const fs::path &path) {
    std::error_code ignored;
    return fs::symlink_status(path, ignored).type() != fs::file_type::not_found;
}

void logFailure(const std::string &id, const std::exception &error) {
    LogStream(LogLevel::Error) << "Failed to migrate " << id << " package from RPM to KELP";
    LogStream(LogLevel::Error) << error;
}

} // namespace

TakeOverSettlement::TakeOverSettlement(Transaction &rpm, TakeOverStore &store,
                                       const IDatabasePathResolver &pathResolver,
                                       const IConfiguration &configuration, const StagingArea &area,
                                       const Arrival &arrival) :
    rpm_(&rpm),
    store_(&store),
    pathResolver_(&pathResolver),
    configuration_(&configuration),
    area_(&area),
    arrival_(&arrival) {}

void TakeOverSettlement::settle(std::vector<JournalEntry> entries) {
    untouched_.clear();
    const auto headers = dropHeaders(entries, headersOf(entries));
    for (const JournalEntry &entry : entries) {
        try {
            settleOne(entry, headers.at(entry.id));
        } catch (const std::exception &error) {
            logFailure(entry.id, error);
            if (!failure_)
                failure_ = std::current_exception();
            // With its tree and its place in the journal: the next start tries again.
            left_.push_back(entry);
        }
    }
    conclude();
}

std::map<std::string, std::vector<TakeOverSettlement::Record>>
TakeOverSettlement::ask(const std::vector<JournalEntry> &entries) const {
    std::map<std::string, std::vector<Record>> records;
    for (const JournalEntry &entry : entries)
        // An empty one says "gone", once the walk is known to be complete.
        records[entry.id];
    const auto walk = rpm_->forEachInstalled([&](const Reader &reader) {
        const auto wanted = records.find(reader.tagOr(Tag::Name, ""));
        if (wanted != records.end())
            wanted->second.push_back({Common::Rpm::databaseInstance(reader), headerDigest(reader)});
    });
    // A record that cannot be read may be the one that is asked for: it would look erased.
    if (walk != Transaction::Walk::Complete && !(isDamageExpected_ && areReadable(entries)))
        throw Error(ErrorCode::Internal, "The rpm database has records that cannot be read");
    return records;
}

bool TakeOverSettlement::areReadable(const std::vector<JournalEntry> &entries) const {
    return std::ranges::none_of(entries, [&](const JournalEntry &entry) {
        return rpm_->lookUp(entry.instance) == Transaction::Record::Unreadable;
    });
}

std::map<std::string, TakeOverSettlement::Header>
TakeOverSettlement::headersOf(const std::vector<JournalEntry> &entries) const {
    const auto records = ask(entries);
    std::map<std::string, Header> headers;
    for (const JournalEntry &entry : entries) {
        const std::vector<Record> &found = records.at(entry.id);
        // Both of them: the same package, installed again, has the digest of before at another place.
        const bool isSame = std::ranges::any_of(found, [&](const Record &record) {
            return record.instance == entry.instance && record.digest == entry.digest;
        });
        headers[entry.id] = found.empty() ? Header::Gone : isSame ? Header::Same : Header::Other;
    }
    return headers;
}

bool TakeOverSettlement::isInStore(const JournalEntry &entry) const {
    return store_->isInstalled(entry.id) || store_->hasPendingUpdate(entry.id);
}

bool TakeOverSettlement::hasBegun(const JournalEntry &entry) {
    const auto isAsStaged = [&](const JournalledFile &file) {
        const auto now = Common::identityAt(file.path);
        return file.identity && now ? identities_.isSame(*file.identity, *now)
                                    : file.identity.has_value() == now.has_value();
    };
    // What the store has came there behind the erasure, whatever record of rpm's a power cut has brought
    // back.
    return isInStore(entry) || !std::ranges::all_of(entry.files, isAsStaged);
}

/// Takes the headers of those whose erasure had begun out of the database, and asks once more.
std::map<std::string, TakeOverSettlement::Header>
TakeOverSettlement::dropHeaders(const std::vector<JournalEntry> &entries,
                                std::map<std::string, Header> headers) {
    std::set<std::uint32_t> begun;
    for (const JournalEntry &entry : entries)
        if (headers.at(entry.id) == Header::Same) {
            if (hasBegun(entry))
                begun.insert(entry.instance);
            else
                untouched_.insert(entry.id);
        }
    if (begun.empty())
        return headers;
    erase(*rpm_, begun, ErasureOf::Records);
    return headersOf(entries);
}

void TakeOverSettlement::settleOne(const JournalEntry &entry, Header header) {
    if (untouched_.contains(entry.id)) {
        // Killed before the journal forgets it, the next start finds the same without the tree.
        if (mayBeThere(entry.path))
            area_->giveUp(entry.path);
    } else if (header == Header::Same) {
        // Not forward either: as long as rpm has the record, it may erase what would be published.
        throw Error(ErrorCode::Internal, "Couldn't erase " + entry.id + " package from the rpm database");
    } else if (header == Header::Other) {
        giveWayToRpm(entry);
    } else {
        goForward(entry);
    }
}

void TakeOverSettlement::goForward(const JournalEntry &entry) {
    const fs::path version = pathResolver_->versionDirectory(entry.id, entry.version);
    if (mayBeThere(entry.path) || isInStore(entry) || mayBeThere(version)) {
        install(entry);
    } else if (area_->isRescued(entry.id, entry.version)) {
        clearEmptyPackage(entry);
    } else {
        LogStream(LogLevel::Error) << "Package " << entry.id
                                   << " is neither in RPM nor in KELP, and nothing of it is left";
    }
}

void TakeOverSettlement::install(const JournalEntry &entry) {
    makeWay(entry);
    try {
        store_->takeOver(entry, entry.extras);
    } catch (const Error &error) {
        if (!isConflict(error))
            throw;
        logFailure(entry.id, error);
        rescueConflicting(entry);
        return;
    }
    removeSavedConfiguration(entry);
    LogStream(LogLevel::Info) << "Package " << entry.id << " successfully migrated from RPM to KELP";
    noteInstallation(entry);
    noteDirectories(entry);
    // Last, with the package in its place: what it raises keeps the entry, and all of this is gone through
    // again.
    if (*arrival_)
        (*arrival_)(store_->packageInfo(entry.id));
}

/// rpm only warns when it cannot unlink a file, and unlinks none when it drops a header alone.
void TakeOverSettlement::makeWay(const JournalEntry &entry) {
    for (const JournalledFile &file : entry.files) {
        const auto now = Common::identityAt(file.path);
        // A file that others own too is in nobody's way: who would publish over it stays in rpm (RpmSurvey).
        if (!file.isShared && file.identity && now && identities_.isSame(*file.identity, *now))
            Common::removeAll(file.path);
    }
}

/// What somebody has changed is in the copy; what rpm keeps beside the file's old place says the same.
void TakeOverSettlement::removeSavedConfiguration(const JournalEntry &entry) const {
    const auto mappings =
        buildMappings(entry.id, entry.extras.at("certificate.id"), entry.orgName, entry.appName, Rooted::No);
    for (const JournalledFile &file : entry.files) {
        if (!file.isConfiguration)
            continue;
        fs::path saved = file.path;
        saved += savedSuffix;
        try {
            const fs::path kept =
                pathResolver_->currentDirectory(entry.id) / packagePathOf(file.path, mappings);
            // One with another content is somebody's work, and stays.
            if (fs::is_regular_file(fs::symlink_status(saved)) && Common::hasSameContent(saved, kept))
                Common::removeAll(saved);
        } catch (const std::exception &error) {
            LogStream(LogLevel::Warning) << error;
        }
    }
}

/// Something stands at a target that is not rpm's. The tree is the only copy: it is moved away before the
/// clean-up, whose last step is to remove what is left of the package. Killed between the two, the next start
/// finds the rescued tree and an empty package.
void TakeOverSettlement::rescueConflicting(const JournalEntry &entry) {
    const fs::path place = area_->rescue(pathResolver_->versionDirectory(entry.id, entry.version),
                                         entry.id + "-" + entry.version);
    store_->discardFailedInstallation(entry.id);
    clearEmptyPackage(entry);
    LogStream(LogLevel::Error) << "Package " << entry.id << " is kept in " << place;
}

/// What a rescued version leaves behind: links that lead nowhere.
void TakeOverSettlement::clearEmptyPackage(const JournalEntry &entry) const {
    for (const fs::path &link :
         {pathResolver_->currentDirectory(entry.id), pathResolver_->nextDirectory(entry.id)})
        if (Common::isSymlink(link) && !Common::exists(link))
            Common::removeAll(link);
    std::error_code ignored;
    // Never with what is in them: whatever that is, it is not empty links.
    fs::remove(pathResolver_->versionDirectory(entry.id, entry.version), ignored);
    fs::remove(pathResolver_->packageDirectory(entry.id), ignored);
}

/// Somebody has installed the package again with rpm: rpm's is the one that counts.
void TakeOverSettlement::giveWayToRpm(const JournalEntry &entry) {
    const fs::path version = pathResolver_->versionDirectory(entry.id, entry.version);
    const fs::path tree = mayBeThere(entry.path) ? entry.path : version;
    if (!mayBeThere(tree))
        return;
    if (tree == version)
        // They would lead nowhere.
        store_->tryRemoveMappingsUsingCurrentDirectory(entry.id);
    const fs::path place = area_->rescue(tree, entry.id + "-" + entry.version);
    clearEmptyPackage(entry);
    LogStream(LogLevel::Warning) << "Package " << entry.id
                                 << " was installed by RPM again, and the copy of before is kept in "
                                 << place;
}

void TakeOverSettlement::noteInstallation(const JournalEntry &entry) {
    const auto keyId = entry.extras.find("certificate.id");
    if (keyId == entry.extras.end())
        LogStream(LogLevel::Warning) << "A record of package installation cannot be saved to the registry: "
                                     // Misspelt for good: these are the words that are looked for.
                                     << entry.id << " (udefined developer key id)";
    else
        installations_.emplace_back(RegistryEvent::Install, std::time(nullptr), entry.id, keyId->second);
}

/// One replacement of the registry for the whole group. Killed before it, the next start finds the journal
/// and notes them all again.
void TakeOverSettlement::recordInstallations() {
    if (!installations_.empty() && !Registry().writeRecords(installations_))
        for (const RegistryRecord &record : installations_)
            LogStream(LogLevel::Warning)
                << "Couldn't add a package installation record to the registry: " << record.packageId();
    // A registry that cannot be written holds nothing up: the doctor finds what it lacks.
    installations_.clear();
}

void TakeOverSettlement::noteDirectories(const JournalEntry &entry) {
    for (const fs::path &link :
         readPathList(pathResolver_->symlinkListFile(entry.id, PackageSlot::Current))) {
        const fs::path directory = link.parent_path();
        struct stat status = {};
        if (noted_.insert(directory.native()).second && ::stat(directory.c_str(), &status) == 0)
            written_.try_emplace(status.st_dev, directory);
    }
}

/// The journal forgets what is whole, and only after it is on disk as a whole.
void TakeOverSettlement::conclude() {
    recordInstallations();
    const fs::path journalDirectory = TakeOverJournal::path().parent_path();
    for (const fs::path &directory :
         {configuration_->databaseDirectory(), journalDirectory, Common::Rpm::databaseDirectory()}) {
        struct stat status = {};
        if (::stat(directory.c_str(), &status) == 0)
            written_.try_emplace(status.st_dev, directory);
    }
    // rpm's database among them: undone after the journal is gone, its erasure would leave a record without
    // files.
    for (const auto &[device, directory] : written_)
        Common::flushFilesystem(directory);
    if (left_.empty())
        TakeOverJournal::remove();
    else
        TakeOverJournal::write(left_);
}

} // namespace Core::KELP
