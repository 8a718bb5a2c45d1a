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
#include "kelp/core/kelp/package/descriptor.h"
#include "kelp/core/kelp/package/i-database-path-resolver.h"
#include "kelp/core/kelp/package/store-entry.h"
#include "kelp/core/kelp/publication/publication-plan.h"
#include "kelp/core/kelp/publication/publication.h"
#include "kelp/core/kelp/registry/registry-record.h"
#include "kelp/core/kelp/registry/registry.h"
#include "kelp/core/kelp/take-over/copy-failures.h"
#include "kelp/core/kelp/take-over/rpm-migration.h"
#include "kelp/core/kelp/take-over/take-over-journal.h"

namespace fs = std::filesystem;

namespace Core::KELP {

namespace {

using Common::Error;
using Common::ErrorCode;
using Common::LogLevel;
using Common::LogStream;

/// Only a missing or malformed descriptor lets the package be removed: a failed read proves nothing.
bool isCorrupted(const Error &error) {
    return error.code() == Common::ErrorCategory::make(ErrorCode::Internal);
}

/// Whether the next look may succeed, so that this one proves nothing.
bool isFailedLook(const std::exception &error) {
    const int reason = Common::systemErrorOf(error);
    return reason == 0 ? dynamic_cast<const Error *>(&error) == nullptr : !isJudgement(reason);
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

StoreEntry FSDatabase::entry(const std::string &id) const {
    return {*pathResolver_, id};
}

Error FSDatabase::unreadableDescriptor(const std::string &id) {
    return {ErrorCode::CorruptedInstalledPackage, "Couldn't read velura.pkg file of the " + id + " package"};
}

PackageInformation FSDatabase::packageInfo(const std::string &id) {
    if (!isInstalled(id))
        throw Error(ErrorCode::PackageNotExist, "Package " + id + " not installed");
    if (auto information = nextInformation(id))
        return *information;
    if (auto information = currentInformation(id))
        return *information;
    // A directory is foreign if neither a record nor a descriptor makes it a package.
    if (entry(id).kind() != StoreEntry::Kind::Directory || !isOnRecord(id) || idsOnTheirWay().contains(id) ||
        entry(id).hasAnothers())
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
        if (!isCorrupted(error))
            throw unreadableDescriptor(id).causedBy(error);
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
        if (!isCorrupted(error))
            throw unreadableDescriptor(id).causedBy(error);
        LogStream(LogLevel::Error) << error;
        return std::nullopt;
    }
    LogStream(LogLevel::Error) << foreignDescriptor(pathResolver_->currentDirectory(id));
    throw unreadableDescriptor(id);
}

/// Only the take-over completes or rolls back the packages that the journal names.
std::set<std::string> FSDatabase::idsOnTheirWay() const {
    return TakeOverJournal::readIds(configuration_->tempDirectory());
}

std::vector<PackageInformation> FSDatabase::packages() {
    const std::set<std::string> onTheirWay = idsOnTheirWay();
    std::vector<PackageInformation> all;
    lookFailure_ = nullptr;
    for (const std::string &id : idsIn(configuration_->databaseDirectory())) {
        try {
            // Without its lists it is not whole: the caller handles it when it has arrived.
            if (onTheirWay.contains(id) &&
                !Common::lookFor(pathResolver_->symlinkListFile(id, PackageSlot::Current)))
                continue;
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
