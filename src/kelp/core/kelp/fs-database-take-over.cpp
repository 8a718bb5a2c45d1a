// The part of FSDatabase that makes an installed package of a tree of which there may be no other copy.

#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/errors/reraise-as.h"
#include "kelp/core/common/files/filesystem.h"
#include "kelp/core/common/files/path-tests.h"
#include "kelp/core/kelp/fs-database.h"
#include "kelp/core/kelp/package/descriptor.h"
#include "kelp/core/kelp/package/i-database-path-resolver.h"
#include "kelp/core/kelp/publication/publication-plan.h"
#include "kelp/core/kelp/publication/publication.h"

namespace fs = std::filesystem;

namespace Core::KELP {

namespace {

using Common::Durability;
using Common::Error;
using Common::ErrorCode;

/// Unlike exists(), which answers "no" for what the disk does not tell.
bool isThere(const fs::path &path) {
    return Common::reraiseAs(ErrorCode::Filesystem, "Couldn't look for " + path.string(),
                             [&] { return fs::exists(fs::symlink_status(path)); });
}

} // namespace

void FSDatabase::describeStaged(const PackageStaging &staging, const PackageInformation &extras) {
    describe(staging, extras, Durability::Deferred);
}

bool FSDatabase::isInSlot(const PackageStaging &staging, PackageSlot slot) const {
    const StoreEntry::Slot found = entry(staging.id).slot(slot);
    return found.counts() && found.version == staging.version;
}

void FSDatabase::takeOver(const PackageStaging &staging, const PackageInformation &extras) {
    const std::string &id = staging.id;
    const fs::path directory = pathResolver_->versionDirectory(id, staging.version);
    // The caller tells of the version, so that one in the way is its own. No conflict: the tree stays where
    // it is until people have looked.
    if (const std::string objection = entry(id).objectionTo(staging.version, {staging.version});
        !objection.empty())
        throw Error(ErrorCode::Filesystem, objection);
    const bool isStaged = isThere(staging.path);
    // Only what an earlier call has left may be installed: this very version, and no staged tree beside it.
    if (isInstalled(id) && (isStaged || !isInSlot(staging, PackageSlot::Current)))
        throw Error(ErrorCode::Internal, "Package " + id + " already installed");
    // While nothing is current, what an earlier removal has left leads nowhere.
    finishTakingBack(id);
    if (isStaged)
        bringIntoStore(staging, extras);
    const fs::path descriptor = pathResolver_->descriptorFile(id, staging.version);
    ensureDescriptor(descriptor, staging, extras, Durability::Deferred);
    if (!isInSlot(staging, PackageSlot::Current))
        makeCurrent(staging, directory);

    // Published over in a moment: of what could not be taken back there, publishing tells.
    PublicationPlan left;
    takeBackUnfinished(id, left);
    publishCurrent(id, readDescriptor(descriptor), Durability::Deferred);
    // It stays when a list could not be written, and without lists no removal finds the files.
    if (isThere(planFile(id)))
        throw Error(ErrorCode::Filesystem, "Failed to complete the publication of " + id + " package");
    cleanupVersionsExceptCurrent(id);
}

/// The staged tree is the truth: a tree in its place, and links that may lead there, are older. A kill before
/// the move finds the staged tree again; one behind it finds none, and goes on with the version directory.
void FSDatabase::bringIntoStore(const PackageStaging &staging, const PackageInformation &extras) {
    describeStaged(staging, extras);
    for (const fs::path &link :
         {pathResolver_->previousDirectory(staging.id), pathResolver_->currentDirectory(staging.id),
          pathResolver_->nextDirectory(staging.id)})
        Common::removeAll(link);
    const fs::path directory = pathResolver_->versionDirectory(staging.id, staging.version);
    Common::removeAll(directory);
    Common::move(staging.path, directory);
}

/// A kill leaves no link, `next`, or `current`; each is gone on from.
void FSDatabase::makeCurrent(const PackageStaging &staging, const fs::path &directory) {
    if (!isInSlot(staging, PackageSlot::Next)) {
        Common::removeAll(pathResolver_->nextDirectory(staging.id));
        Common::createSymlink(fs::absolute(directory), pathResolver_->nextDirectory(staging.id));
    }
    promoteNext(staging.id);
}

void FSDatabase::discardFailedInstallation(const std::string &id) {
    // Where the version was moved away, `current` leads to an empty one until the package goes; a kill in
    // between leaves a package without descriptor, which the next look at it removes.
    const StoreEntry::Slot current = entry(id).slot(PackageSlot::Current);
    if (current.lead == StoreEntry::Lead::Nowhere)
        Common::createDirectories(pathResolver_->versionDirectory(id, current.version));
    recoverPrevious(id);
    cleanupFailedInstallation(id);
}

} // namespace Core::KELP
