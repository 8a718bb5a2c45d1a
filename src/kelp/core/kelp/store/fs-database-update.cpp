// The part of FSDatabase that makes a staged version the current one, and brings the previous one back.

#include "kelp/core/common/errors/error-category.h"
#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/errors/log-stream.h"
#include "kelp/core/common/files/durable-file.h"
#include "kelp/core/common/files/filesystem.h"
#include "kelp/core/common/files/path-tests.h"
#include "kelp/core/kelp/package/contents-list.h"
#include "kelp/core/kelp/package/descriptor.h"
#include "kelp/core/kelp/package/i-database-path-resolver.h"
#include "kelp/core/kelp/package/store-entry.h"
#include "kelp/core/kelp/package/store-names.h"
#include "kelp/core/kelp/publication/publication-plan.h"
#include "kelp/core/kelp/store/fs-database.h"

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

/// Whether a failure is no reason to remove the package: the disk was at fault, or packageInfo() left the
/// package as it is.
bool isFaultOfDisk(const std::exception &error) {
    const auto *ours = dynamic_cast<const Error *>(&error);
    return ours && (ours->code() == Common::ErrorCategory::make(ErrorCode::Filesystem) ||
                    ours->code() == Common::ErrorCategory::make(ErrorCode::CorruptedInstalledPackage));
}

void requireFree(const std::string &objection) {
    if (!objection.empty())
        throw Error(ErrorCode::FileConflict, objection);
}

} // namespace

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

/// Removes what a package ships under the names of the store's lists, plan and resources directory. The lists
/// and the plan decide which files of the system the store removes. Through a link in place of the resources
/// directory, the store would write to the link's target.
void FSDatabase::dropOwnNames(const fs::path &tree, const PackageStaging &staging) const {
    for (const fs::path &own : {pathResolver_->symlinkListFile(staging.id, staging.version),
                                pathResolver_->generatedDirListFile(staging.id, staging.version),
                                pathResolver_->resourcesDirectory(staging.id, staging.version),
                                fs::path(StoreName::publicationPlan)})
        Common::removeAll(tree / own.filename());
    if (!staging.hasContentsList)
        Common::removeAll(tree / StoreName::contentsList);
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
    const bool isUpdate = hasEarlierVersion(id);
    try {
        tryRemoveMappingsUsingCurrentDirectory(id);
        // `current` beside `next` is still the link of the previous version, which was not renamed yet.
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
        if (isInstalled(id) && (isFaultOfDisk(error) || (isUpdate && isCurrentWhole(id))))
            keepUnpublished(id);
        else
            removeUnrecoverable(id);
    }
}

/// Whether a failure leaves a version to go back to. Counts one whose link cannot be looked at.
bool FSDatabase::hasEarlierVersion(const std::string &id) {
    try {
        return entry(id).slot(PackageSlot::Previous).counts() || (hasPendingUpdate(id) && isInstalled(id));
    } catch (const std::exception &error) {
        LogStream(LogLevel::Warning) << error;
        return true;
    }
}

/// Such a version is not lost for what stands at one of its targets, a file of the user's for example.
bool FSDatabase::isCurrentWhole(const std::string &id) const {
    const StoreEntry entry = this->entry(id);
    return entry.descriptor(entry.slot(PackageSlot::Current).version).state ==
           StoreEntry::DescriptorState::Own;
}

/// The package is whole in the store, but not published. Without the failed version a full disk has room
/// again. If it does not, the next update publishes.
void FSDatabase::keepUnpublished(const std::string &id) {
    if (entry(id).slot(PackageSlot::Previous).counts())
        return; // Published files could not be taken back, or the link not be renamed.
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

void FSDatabase::describeStaged(const PackageStaging &staging, const PackageInformation &extras) {
    describe(staging, extras, Common::Durability::Deferred);
}

bool FSDatabase::isInSlot(const PackageStaging &staging, PackageSlot slot) const {
    const StoreEntry::Slot found = entry(staging.id).slot(slot);
    return found.counts() && found.version == staging.version;
}

/// A kill leaves the staged tree, the version's directory without a link, `next`, or `current`; a repeated
/// call goes on from each.
void FSDatabase::place(const PackageStaging &staging) {
    const std::string &id = staging.id;
    const fs::path directory = pathResolver_->versionDirectory(id, staging.version);
    // The caller's journal names the version, so a directory of that name is its own.
    requireFree(entry(id).objectionTo(staging.version, {staging.version}));
    if (Common::lookFor(staging.path)) {
        // While nothing is current, links that an earlier removal left are dangling.
        finishTakingBack(id);
        // The staged tree has all of the version; a leftover may have less.
        dropLeftover(directory, id);
        Common::move(staging.path, directory);
    }
    if (isInSlot(staging, PackageSlot::Current))
        return;
    if (!isInSlot(staging, PackageSlot::Next)) {
        Common::removeAll(pathResolver_->nextDirectory(id));
        Common::createSymlink(fs::absolute(directory), pathResolver_->nextDirectory(id));
    }
    promoteNext(id);
}

} // namespace Core::KELP
