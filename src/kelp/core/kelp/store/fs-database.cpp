#include "kelp/core/kelp/store/fs-database.h"

#include "kelp/core/common/errors/error-category.h"
#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/errors/log-stream.h"
#include "kelp/core/common/errors/reraise-as.h"
#include "kelp/core/common/files/durable-file.h"
#include "kelp/core/common/files/filesystem.h"
#include "kelp/core/common/files/path-tests.h"
#include "kelp/core/common/i-configuration.h"
#include "kelp/core/common/rpm/version.h"
#include "kelp/core/kelp/package/contents-list.h"
#include "kelp/core/kelp/package/descriptor.h"
#include "kelp/core/kelp/package/i-database-path-resolver.h"
#include "kelp/core/kelp/package/store-entry.h"
#include "kelp/core/kelp/package/store-names.h"
#include "kelp/core/kelp/publication/publication-plan.h"
#include "kelp/core/kelp/publication/publication.h"
#include "kelp/core/kelp/registry/registry-record.h"
#include "kelp/core/kelp/registry/registry.h"
#include "kelp/core/kelp/take-over/copy-failures.h"
#include "kelp/core/kelp/take-over/rpm-migration.h"
#include "kelp/core/kelp/take-over/take-over-journal.h"

#include <unistd.h>

namespace fs = std::filesystem;

namespace Core::KELP {

namespace {

using Common::Durability;
using Common::Error;
using Common::ErrorCode;
using Common::LogLevel;
using Common::LogStream;

Error internalError(const char *words, const std::string &id) {
    return {ErrorCode::Internal, words + id + " package"};
}

Error unreadableDescriptor(const std::string &id) {
    return {ErrorCode::CorruptedInstalledPackage, "Couldn't read velura.pkg file of the " + id + " package"};
}

/// Only a missing or malformed descriptor lets the package be removed: a failed read proves nothing.
void requireCorrupted(const std::string &id, const Error &error) {
    if (error.code() != Common::ErrorCategory::make(ErrorCode::Internal))
        throw unreadableDescriptor(id).causedBy(error);
}

/// Whether the next look may succeed, so that this one proves nothing.
bool isFailedLook(const std::exception &error) {
    const int reason = Common::systemErrorOf(error);
    return reason == 0 ? dynamic_cast<const Error *>(&error) == nullptr : !isJudgement(reason);
}

/// Whether the disk is at fault, and not the package: it was full, or a read failed.
bool isFaultOfDisk(const std::exception &error) {
    const auto *ours = dynamic_cast<const Error *>(&error);
    return ours && (ours->code() == Common::ErrorCategory::make(ErrorCode::Filesystem) ||
                    ours->code() == Common::ErrorCategory::make(ErrorCode::CorruptedInstalledPackage));
}

/// By the registry alone: it has every package from its installation on.
bool isOnRecord(const std::string &id) {
    bool isInstalled = false;
    const auto note = [&](const RegistryRecord &record) {
        if (record.packageId() == id)
            isInstalled = record.event() != RegistryEvent::Remove;
    };
    return Registry().foreachRecord(note) && isInstalled;
}

void requireFree(const std::string &objection) {
    if (!objection.empty())
        throw Error(ErrorCode::FileConflict, objection);
}

std::string foreignDescriptor(const fs::path &version) {
    return "The velura.pkg file in " + version.string() + " is that of another package or version";
}

/// Names in a directory of packages that are never packages: those of tools and filesystems.
bool isKeptByOthers(const std::string &name) {
    return name.starts_with('.') || name == "lost+found";
}

/// Not listDirectory(): one dangling link fails that.
std::vector<std::string> idsIn(const fs::path &store) {
    return Common::reraiseAs(ErrorCode::Filesystem, "Couldn't read directory: " + store.string(), [&] {
        std::vector<std::string> ids;
        for (const fs::directory_entry &entry : fs::directory_iterator(store))
            if (std::string id = entry.path().filename().string(); !isKeptByOthers(id))
                ids.push_back(std::move(id));
        return ids;
    });
}

} // namespace

FSDatabase::FSDatabase(const IConfiguration &configuration, const IDatabasePathResolver &pathResolver) :
    configuration_(&configuration), pathResolver_(&pathResolver) {
    const fs::path &directory = configuration.databaseDirectory();
    try {
        // Not raised: each operation on the store reports it itself.
        if (!Common::exists(directory))
            fs::create_directories(directory);
    } catch (const std::exception &error) {
        LogStream(LogLevel::Error) << error;
        LogStream(LogLevel::Error) << "Couldn't create database directory: " << directory;
    }
}

void FSDatabase::install(const PackageStaging &staging, const PackageInformation &extras) {
    if (isInstalled(staging.id))
        throw Error(ErrorCode::Internal, "Package " + staging.id + " already installed");
    try {
        prepareUpdate(staging, extras);
        completeUpdate(staging.id);
    } catch (...) {
        // After a failure before the first `current` this removes nothing and says so: the next installation
        // or `kelpctl doctor` finds the remnants.
        cleanupFailedInstallation(staging.id);
        throw;
    }
}

void FSDatabase::cleanupFailedInstallation(const std::string &id) {
    LogStream(LogLevel::Info) << "Cleaning up unsuccessfully installed package: " << id;
    try {
        cleanupCorrupted(id);
    } catch (const std::exception &error) {
        LogStream(LogLevel::Warning) << "Couldn't cleanup the unsuccessfully installed package: " << id;
        LogStream(LogLevel::Warning) << error;
    }
}

void FSDatabase::prepareUpdate(const PackageStaging &staging, const PackageInformation &extras) {
    const StoreEntry entry = this->entry(staging.id);
    requireFree(entry.objection());
    const bool isNew = entry.kind() == StoreEntry::Kind::Absent;
    try {
        putInPlace(staging, extras);
    } catch (...) {
        // Left empty, the directory would count as foreign.
        if (isNew)
            ::rmdir(pathResolver_->packageDirectory(staging.id).c_str());
        // Without a current version nothing tells what to keep, so nothing goes.
        cleanupVersionsExceptCurrent(staging.id);
        throw;
    }
}

void FSDatabase::putInPlace(const PackageStaging &staging, const PackageInformation &extras) {
    const fs::path directory = pathResolver_->versionDirectory(staging.id, staging.version);
    dropLeftover(directory, staging.id);
    requireFree(entry(staging.id).objectionTo(staging.version));
    // Before the move, so that each version in the store has the descriptor that tells whose it is.
    describe(staging, extras, Durability::Flushed);
    Common::move(staging.path, directory);
    // Absolute, also with a relative root prefix: a relative text would count from the package's directory.
    Common::createSymlink(fs::absolute(directory), pathResolver_->nextDirectory(staging.id));
}

void FSDatabase::describe(const PackageStaging &staging, const PackageInformation &extras,
                          Durability durability) const {
    dropOwnNames(staging.path, staging);
    const fs::path name = pathResolver_->descriptorFile(staging.id, staging.version).filename();
    ensureDescriptor(staging.path / name, staging, extras, durability);
}

/// A package must not ship files under the names of the store's own. The lists and the plan decide which
/// files of the system are removed. A link in place of the resources would make the store write to its
/// target.
void FSDatabase::dropOwnNames(const fs::path &tree, const PackageStaging &staging) const {
    for (const fs::path &own : {pathResolver_->symlinkListFile(staging.id, staging.version),
                                pathResolver_->generatedDirListFile(staging.id, staging.version),
                                pathResolver_->resourcesDirectory(staging.id, staging.version),
                                fs::path(StoreName::publicationPlan)})
        Common::removeAll(tree / own.filename());
    if (!staging.hasContentsList)
        Common::removeAll(tree / StoreName::contentsList);
}

StoreEntry FSDatabase::entry(const std::string &id) const {
    return {*pathResolver_, id};
}

void FSDatabase::completeUpdate(const std::string &id) {
    if (!hasPendingUpdate(id))
        throw internalError("Attempt to complete non-existent update for ", id);
    requireOwnUpdate(id);
    try {
        swapToNext(id);
    } catch (...) {
        try {
            recoverPrevious(id);
        } catch (const std::exception &error) {
            // In any case the caller gets the reason why the update failed.
            LogStream(LogLevel::Error) << error;
        }
        throw;
    }
}

/// Called before anything is removed for the update.
void FSDatabase::requireOwnUpdate(const std::string &id) const {
    const StoreEntry entry = this->entry(id);
    requireFree(entry.objection());
    if (entry.descriptor(entry.slot(PackageSlot::Next).version).state != StoreEntry::DescriptorState::Own)
        throw unreadableDescriptor(id);
}

void FSDatabase::swapToNext(const std::string &id) {
    // The new version's files may claim the targets of the old one's.
    tryRemoveMappingsUsingCurrentDirectory(id);
    if (isInstalled(id))
        backUpCurrent(id);
    promoteNext(id);
    // While both versions exist: a failure brings the old one back.
    generateMappings(id);
    cleanupVersionsExceptCurrent(id);
    // Removes leftovers of the previous version that are dangling now; the others are published again.
    finishTakingBack(id);
}

void FSDatabase::backUpCurrent(const std::string &id) {
    if (!isInstalled(id))
        throw internalError("Missing current directory when trying to do backup for ", id);
    // From an earlier update without clean-up: without the link nothing would finish that version's removal.
    dropPrevious(id);
    // The old version keeps its directory, so that a roll back is one rename as well.
    Common::move(pathResolver_->currentDirectory(id), pathResolver_->previousDirectory(id));
}

void FSDatabase::promoteNext(const std::string &id) {
    if (!hasPendingUpdate(id))
        throw internalError("Attempt to complete non-existent update for ", id);
    Common::move(pathResolver_->nextDirectory(id), pathResolver_->currentDirectory(id));
}

void FSDatabase::recoverPrevious(const std::string &id) {
    LogStream(LogLevel::Info) << "Recovering the previous version package corrupted by the upgrade: " << id;
    try {
        tryRemoveMappingsUsingCurrentDirectory(id);
        // With `next` still there, `current` may be that of the previous version: not even it could be
        // renamed.
        if (!hasPendingUpdate(id) || !isInstalled(id))
            rollBackToPrevious(id);
        // The version of record decides what to publish: it must not be the failed one.
        if (hasPendingUpdate(id))
            cleanupVersionsExceptCurrent(id);
        generateMappings(id);
        cleanupVersionsExceptCurrent(id);
        finishTakingBack(id);
    } catch (const std::exception &error) {
        LogStream(LogLevel::Warning)
            << "Couldn't recover the previous version of the package corrupted by the upgrade: " << id;
        LogStream(LogLevel::Warning) << error;
        if (isFaultOfDisk(error) && isInstalled(id))
            keepUnpublished(id);
        else
            removeUnrecoverable(id);
    }
}

/// The package is whole in the store, but not published. Without the failed version a full disk has room
/// again. If it does not, the next update publishes.
void FSDatabase::keepUnpublished(const std::string &id) {
    if (entry(id).slot(PackageSlot::Previous).counts())
        return; // Not even the link could be renamed.
    cleanupVersionsExceptCurrent(id);
    try {
        generateMappings(id);
    } catch (const std::exception &error) {
        LogStream(LogLevel::Warning) << error;
    }
}

/// The caller gets the failure of the update, not one of this removal.
void FSDatabase::removeUnrecoverable(const std::string &id) {
    try {
        cleanupCorrupted(id);
    } catch (const std::exception &error) {
        LogStream(LogLevel::Warning) << error;
    }
}

void FSDatabase::rollBackToPrevious(const std::string &id) {
    if (!entry(id).slot(PackageSlot::Previous).counts())
        // A first installation has no earlier version: this failure makes the caller remove it.
        throw internalError("Missing backup directory when rolling back update for ", id);
    Common::move(pathResolver_->previousDirectory(id), pathResolver_->currentDirectory(id));
}

PackageInformation FSDatabase::packageInfo(const std::string &id) {
    if (!isInstalled(id))
        throw Error(ErrorCode::PackageNotExist, "Package " + id + " not installed");
    if (auto information = nextInformation(id))
        return *information;
    if (auto information = currentInformation(id))
        return *information;
    // A directory is foreign if neither a record nor a descriptor makes it a package.
    if (entry(id).kind() != StoreEntry::Kind::Directory || !isOnRecord(id) || idsOnTheirWay().contains(id))
        throw unreadableDescriptor(id);
    LogStream(LogLevel::Info) << "Cleaning up corrupted installed package " << id;
    try {
        cleanupCorrupted(id);
    } catch (const std::exception &error) {
        LogStream(LogLevel::Warning) << "couldn't remove corrupted installed package: " << id;
        LogStream(LogLevel::Warning) << error;
    }
    throw unreadableDescriptor(id);
}

/// A version with another's descriptor must not be dropped, and is not of record either.
std::optional<PackageInformation> FSDatabase::nextInformation(const std::string &id) {
    const StoreEntry::Slot next = entry(id).slot(PackageSlot::Next);
    if (!next.counts())
        return std::nullopt;
    try {
        PackageInformation information = readDescriptor(pathResolver_->descriptorFile(id, PackageSlot::Next));
        if (isDescriptorOf(information, id, next.version))
            return information;
        LogStream(LogLevel::Warning) << foreignDescriptor(pathResolver_->nextDirectory(id));
    } catch (const Error &error) {
        requireCorrupted(id, error);
        LogStream(LogLevel::Warning) << "Corrupted package next directory: "
                                     << pathResolver_->nextDirectory(id);
        if (idsOnTheirWay().contains(id))
            return std::nullopt;
        LogStream(LogLevel::Info) << "Cleaning all package versions except current: " << id;
        cleanupVersionsExceptCurrent(id);
    }
    return std::nullopt;
}

std::optional<PackageInformation> FSDatabase::currentInformation(const std::string &id) {
    const StoreEntry::Slot current = entry(id).slot(PackageSlot::Current);
    if (!current.counts())
        return std::nullopt;
    try {
        PackageInformation information =
            readDescriptor(pathResolver_->descriptorFile(id, PackageSlot::Current));
        if (isDescriptorOf(information, id, current.version))
            return information;
    } catch (const Error &error) {
        requireCorrupted(id, error);
        LogStream(LogLevel::Error) << error;
        return std::nullopt;
    }
    LogStream(LogLevel::Error) << foreignDescriptor(pathResolver_->currentDirectory(id));
    throw unreadableDescriptor(id);
}

/// Only the take-over completes or rolls back the packages that the journal names.
std::set<std::string> FSDatabase::idsOnTheirWay() const {
    std::set<std::string> ids;
    for (JournalEntry &entry : TakeOverJournal::read(configuration_->tempDirectory()))
        ids.insert(std::move(entry.id));
    return ids;
}

std::vector<PackageInformation> FSDatabase::packages() {
    const std::set<std::string> onTheirWay = idsOnTheirWay();
    std::vector<PackageInformation> all;
    lookFailure_ = nullptr;
    for (const std::string &id : idsIn(configuration_->databaseDirectory())) {
        // Without its lists it is not whole: the caller handles it when it has arrived.
        if (onTheirWay.contains(id) &&
            !Common::isThere(pathResolver_->symlinkListFile(id, PackageSlot::Current)))
            continue;
        try {
            // This look heals: it removes corrupted packages on the way. Entries that never were packages are
            // skipped.
            if (isInstalled(id) || isOnRecord(id))
                all.push_back(packageInfo(id));
        } catch (const std::exception &error) {
            LogStream(LogLevel::Warning) << error;
            if (!lookFailure_ && isFailedLook(error))
                lookFailure_ = std::current_exception();
        }
    }
    return all;
}

void FSDatabase::requireCompleteLook() const {
    if (lookFailure_)
        std::rethrow_exception(lookFailure_);
}

bool FSDatabase::isInstalled(const std::string &id) {
    return entry(id).slot(PackageSlot::Current).counts();
}

bool FSDatabase::isVersionInstalled(const std::string &id, const std::string &version) {
    // Even if no link names it: a version that failed to become current counts as well.
    return Common::exists(pathResolver_->versionDirectory(id, version));
}

bool FSDatabase::hasPendingUpdate(const std::string &id) {
    return entry(id).slot(PackageSlot::Next).counts();
}

bool FSDatabase::isNewerThanInstalled(const std::string &id, const std::string &version) {
    return isNewerThanInstalled(id, version, Recheck::Yes);
}

bool FSDatabase::isNewerThanInstalled(const std::string &id, const std::string &version, Recheck recheck) {
    std::optional<std::string> actual;
    try {
        actual = valueOf(packageInfo(id), "general.version");
    } catch (const std::exception &error) {
        LogStream(LogLevel::Error) << error;
        return false;
    }
    if (!actual) {
        LogStream(LogLevel::Warning) << "Couldn't get actual package version: " << id;
        return false;
    }
    const auto given = Common::Rpm::Version::parse(version);
    if (!given) {
        LogStream(LogLevel::Error) << "Couldn't parse package version: " << version;
        return false;
    }
    if (const auto installed = Common::Rpm::Version::parse(*actual))
        return given->compare(*installed) == 1;
    LogStream(LogLevel::Error) << "Couldn't parse actual package version: " << *actual;
    // It may be the version of a prepared update that cannot be compared: without it, the current one counts.
    if (recheck == Recheck::No || !hasPendingUpdate(id))
        return false;
    LogStream(LogLevel::Info) << "Cleaning up corrupted package upgrade: " << id;
    cleanupVersionsExceptCurrent(id);
    LogStream(LogLevel::Info) << "Re-checking the package for downgrade: " << id;
    return isNewerThanInstalled(id, version, Recheck::No);
}

void FSDatabase::migrateRpmPackages() {
    migrationFailure_ = nullptr;
    RpmMigration migration(*configuration_, *pathResolver_, *this, arrival_);
    migration.run();
    migrationFailure_ = migration.failure();
}

void FSDatabase::requireCompleteMigration() const {
    if (migrationFailure_)
        std::rethrow_exception(migrationFailure_);
}

} // namespace Core::KELP
