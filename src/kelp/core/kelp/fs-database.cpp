#include "kelp/core/kelp/fs-database.h"

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
#include "kelp/core/kelp/publication/publication-plan.h"
#include "kelp/core/kelp/publication/publication.h"
#include "kelp/core/kelp/take-over/rpm-migration.h"

#include "platform/event-log/log-event.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace fs = std::filesystem;

namespace Core::KELP {

namespace {

using Common::Durability;
using Common::Error;
using Common::ErrorCode;
using Common::LogLevel;
using Common::LogStream;

constexpr std::array<std::string_view, 3> reservedNames = {".install", ".upgrade", ".remove"};

/// As the platform's event log numbers them.
constexpr int packageCategory = 1;
constexpr int packageRemoved = 14;

Error internalError(const char *words, const std::string &id) {
    return {ErrorCode::Internal, words + id + " package"};
}

Error unreadableDescriptor(const std::string &id) {
    return {ErrorCode::CorruptedInstalledPackage, "Couldn't read velura.pkg file of the " + id + " package"};
}

/// A disk that does not answer says nothing of the package: only a descriptor that is absent or malformed has
/// it cleaned up.
void requireCorrupted(const std::string &id, const Error &error) {
    if (error.code() != Common::ErrorCategory::make(ErrorCode::Internal))
        throw unreadableDescriptor(id);
}

/// Whether the disk is at fault, and not the package: it was full, or did not give what is there.
bool isFaultOfDisk(const std::exception &error) {
    const auto *ours = dynamic_cast<const Error *>(&error);
    return ours && (ours->code() == Common::ErrorCategory::make(ErrorCode::Filesystem) ||
                    ours->code() == Common::ErrorCategory::make(ErrorCode::CorruptedInstalledPackage));
}

/// Whether the entry is the version that `current` names. Told by the text of the link, or by the directory
/// itself when the store is seen below another root than the one below which the link was made.
bool isCurrentVersion(const fs::path &entry, const fs::path &current, const fs::path &currentTarget) {
    if (entry == currentTarget)
        return true;
    std::error_code ignored;
    return !fs::is_symlink(entry, ignored) && fs::equivalent(entry, current, ignored);
}

/// Removes all that is in the directory of an entry beside it.
void removeAllBut(const fs::path &kept) {
    const fs::path directory = kept.parent_path();
    Common::reraiseAs(ErrorCode::Filesystem, "Couldn't remove filesystem entry: " + directory.string(), [&] {
        for (const fs::directory_entry &entry : fs::directory_iterator(directory))
            if (entry.path() != kept)
                fs::remove_all(entry.path());
    });
}

void removeLegacy(const fs::path &entry) {
    try {
        Common::removeAll(entry);
    } catch (const std::exception &error) {
        LogStream(LogLevel::Warning) << "Couldn't cleanup legacy version of the package: " << entry << error;
    }
}

} // namespace

FSDatabase::FSDatabase(const IConfiguration &configuration, const IDatabasePathResolver &pathResolver) :
    configuration_(&configuration), pathResolver_(&pathResolver) {
    const fs::path &directory = configuration.databaseDirectory();
    try {
        // Not raised: each operation on the store tells of it by itself.
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
        // Where the failure came before the first `current`, this removes nothing and says so: what is left
        // is for the next installation or the doctor to find.
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
    try {
        putInPlace(staging, extras);
    } catch (...) {
        // Without a current version nothing tells what to keep, and nothing goes.
        cleanupVersionsExceptCurrent(staging.id);
        throw;
    }
}

void FSDatabase::putInPlace(const PackageStaging &staging, const PackageInformation &extras) {
    const fs::path directory = pathResolver_->versionDirectory(staging.id, staging.version);
    dropLeftover(directory, staging.id);
    Common::move(staging.path, directory);
    dropOwnNames(directory, staging);
    // A version whose link survived a power cut without its descriptor would be taken for corrupted, and
    // removed.
    writeDescriptor(pathResolver_->descriptorFile(staging.id, staging.version), staging, extras,
                    Durability::Flushed);
    // Absolute whatever the root prefix is: a relative text would count from the package's directory.
    Common::createSymlink(fs::absolute(directory), pathResolver_->nextDirectory(staging.id));
}

/// What a package ships under the names of the store's own files is not its to say: the lists and the plan
/// tell what to remove from the system, and a link in place of the resources would have the store write where
/// it leads.
void FSDatabase::dropOwnNames(const fs::path &tree, const PackageStaging &staging) const {
    for (const fs::path &own :
         {pathResolver_->symlinkListFile(staging.id, staging.version),
          pathResolver_->generatedDirListFile(staging.id, staging.version),
          pathResolver_->resourcesDirectory(staging.id, staging.version), fs::path(publicationPlanName)})
        Common::removeAll(tree / own.filename());
}

/// A directory that no link names was left by an installation that failed, and would fail all later ones.
void FSDatabase::dropLeftover(const fs::path &directory, const std::string &id) const {
    for (const PackageSlot slot : {PackageSlot::Previous, PackageSlot::Current, PackageSlot::Next})
        if (isInSlot(directory, id, slot))
            return;
    Common::removeAll(directory);
}

bool FSDatabase::isInSlot(const fs::path &directory, const std::string &id, PackageSlot slot) const {
    const fs::path link = pathResolver_->descriptorFile(id, slot).parent_path();
    std::error_code ignored;
    return fs::equivalent(directory, link, ignored);
}

void FSDatabase::completeUpdate(const std::string &id) {
    if (!hasPendingUpdate(id))
        throw internalError("Attempt to complete non-existent update for ", id);
    try {
        swapToNext(id);
    } catch (...) {
        // Whatever comes of this, the caller hears why the update failed.
        recoverPrevious(id);
        throw;
    }
}

void FSDatabase::swapToNext(const std::string &id) {
    // The new version's files may claim the targets of the old one's.
    tryRemoveMappingsUsingCurrentDirectory(id);
    if (Common::exists(pathResolver_->currentDirectory(id)))
        backUpCurrent(id);
    promoteNext(id);
    // With both versions still there: a failure brings the old one back.
    generateMappings(id);
    cleanupVersionsExceptCurrent(id);
    // What of the version before could not be taken back, and is published again or leads nowhere now.
    finishTakingBack(id);
}

void FSDatabase::backUpCurrent(const std::string &id) {
    const fs::path current = pathResolver_->currentDirectory(id);
    if (!Common::exists(current))
        throw internalError("Missing current directory when trying to do backup for ", id);
    // The old version keeps its directory, so that the way back is one rename as well.
    Common::move(current, pathResolver_->previousDirectory(id));
}

void FSDatabase::promoteNext(const std::string &id) {
    const fs::path next = pathResolver_->nextDirectory(id);
    if (!Common::exists(next))
        throw internalError("Attempt to complete non-existent update for ", id);
    Common::move(next, pathResolver_->currentDirectory(id));
}

void FSDatabase::recoverPrevious(const std::string &id) {
    LogStream(LogLevel::Info) << "Recovering the previous version package corrupted by the upgrade: " << id;
    try {
        tryRemoveMappingsUsingCurrentDirectory(id);
        // With `next` still there, `current` may be that of the previous version: not even it could be
        // renamed.
        if (!hasPendingUpdate(id) || !isInstalled(id))
            rollBackToPrevious(id);
        // What is published is what the version of record says, which the one that failed must not be.
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

/// The package is whole in the store, only not published. Without the version that failed a full disk has
/// room again; and if it has not, the next update publishes.
void FSDatabase::keepUnpublished(const std::string &id) {
    if (Common::exists(pathResolver_->previousDirectory(id)))
        return; // Not even the link could be renamed.
    cleanupVersionsExceptCurrent(id);
    try {
        generateMappings(id);
    } catch (const std::exception &error) {
        LogStream(LogLevel::Warning) << error;
    }
}

/// The failure that the caller is about to hear of is that of the update, not one of this removal.
void FSDatabase::removeUnrecoverable(const std::string &id) {
    try {
        cleanupCorrupted(id);
    } catch (const std::exception &error) {
        LogStream(LogLevel::Warning) << error;
    }
}

void FSDatabase::rollBackToPrevious(const std::string &id) {
    const fs::path previous = pathResolver_->previousDirectory(id);
    if (!Common::exists(previous))
        // A first installation has nothing to go back to: this failure is what has it removed.
        throw internalError("Missing backup directory when rolling back update for ", id);
    Common::move(previous, pathResolver_->currentDirectory(id));
}

void FSDatabase::remove(const std::string &id) {
    if (!isInstalled(id))
        throw Error(ErrorCode::PackageNotExist, "Attempt to remove non existent package " + id);
    tryRemoveMappingsUsingCurrentDirectory(id);
    // From here on a kill leaves a package that the next look at it finds corrupted and removes, and at the
    // very end a link that leads nowhere: never a package that is there in part.
    Common::removeAll(pathResolver_->nextDirectory(id));
    Common::removeAll(pathResolver_->descriptorFile(id, PackageSlot::Current));
    removeAllBut(pathResolver_->currentDirectory(id));
    Common::removeAll(pathResolver_->packageDirectory(id));
}

void FSDatabase::cleanupCorrupted(const std::string &id) {
    remove(id);
    const std::string text =
        "Package: " + id + "\nVersion: cannot be accurately determined\nReason: corrupted";
    log_event(packageCategory, packageRemoved, text.c_str());
}

void FSDatabase::cleanupVersionsExceptCurrent(const std::string &id) {
    const fs::path current = pathResolver_->currentDirectory(id);
    try {
        const fs::path target = Common::readSymlink(current);
        // Not listDirectory(), which a dangling link fails: `next` and `prev` are among the entries, and one
        // that leads nowhere would never go.
        for (const fs::directory_entry &entry : fs::directory_iterator(pathResolver_->packageDirectory(id)))
            if (std::ranges::find(reservedNames, entry.path().filename().string()) == reservedNames.end() &&
                entry.path() != current && !isCurrentVersion(entry.path(), current, target))
                removeLegacy(entry.path());
    } catch (const std::exception &error) {
        LogStream(LogLevel::Warning) << "Couldn't determinate actual version directory";
        LogStream(LogLevel::Warning) << error;
    }
}

PackageInformation FSDatabase::packageInfo(const std::string &id) {
    if (!isInstalled(id))
        throw Error(ErrorCode::PackageNotExist, "Package " + id + " not installed");
    if (auto information = nextInformation(id))
        return *information;
    if (auto information = currentInformation(id))
        return *information;
    LogStream(LogLevel::Info) << "Cleaning up corrupted installed package " << id;
    try {
        cleanupCorrupted(id);
    } catch (const std::exception &error) {
        LogStream(LogLevel::Warning) << "couldn't remove corrupted installed package: " << id;
        LogStream(LogLevel::Warning) << error;
    }
    throw unreadableDescriptor(id);
}

std::optional<PackageInformation> FSDatabase::nextInformation(const std::string &id) {
    if (!hasPendingUpdate(id))
        return std::nullopt;
    try {
        return readDescriptor(pathResolver_->descriptorFile(id, PackageSlot::Next));
    } catch (const Error &error) {
        requireCorrupted(id, error);
        LogStream(LogLevel::Warning) << "Corrupted package next directory: "
                                     << pathResolver_->nextDirectory(id);
        LogStream(LogLevel::Info) << "Cleaning all package versions except current: " << id;
        cleanupVersionsExceptCurrent(id);
        return std::nullopt;
    }
}

std::optional<PackageInformation> FSDatabase::currentInformation(const std::string &id) {
    if (!Common::exists(pathResolver_->currentDirectory(id)))
        return std::nullopt;
    try {
        return readDescriptor(pathResolver_->descriptorFile(id, PackageSlot::Current));
    } catch (const Error &error) {
        requireCorrupted(id, error);
        LogStream(LogLevel::Error) << error;
        return std::nullopt;
    }
}

std::vector<PackageInformation> FSDatabase::packages() {
    std::vector<PackageInformation> all;
    for (const fs::path &directory : Common::listDirectory(configuration_->databaseDirectory())) {
        try {
            // This look heals: what it finds corrupted is removed on the way.
            all.push_back(packageInfo(directory.filename().string()));
        } catch (const std::exception &error) {
            LogStream(LogLevel::Warning) << error;
        }
    }
    return all;
}

bool FSDatabase::isInstalled(const std::string &id) {
    return Common::exists(pathResolver_->currentDirectory(id));
}

bool FSDatabase::isVersionInstalled(const std::string &id, const std::string &version) {
    // Whether or not a link names it: a version that failed to become current counts as well.
    return Common::exists(pathResolver_->versionDirectory(id, version));
}

bool FSDatabase::hasPendingUpdate(const std::string &id) {
    return Common::exists(pathResolver_->nextDirectory(id));
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
    // It may be the version of an update that was prepared and cannot be compared: without it, the current
    // one counts.
    if (recheck == Recheck::No || !hasPendingUpdate(id))
        return false;
    LogStream(LogLevel::Info) << "Cleaning up corrupted package upgrade: " << id;
    cleanupVersionsExceptCurrent(id);
    LogStream(LogLevel::Info) << "Re-checking the package for downgrade: " << id;
    return isNewerThanInstalled(id, version, Recheck::No);
}

void FSDatabase::generateMappings(const std::string &id) {
    publishCurrent(id, packageInfo(id), Durability::Flushed);
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
