// The part of FSDatabase that makes a staged tree the current version, for the take-over.

#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/files/filesystem.h"
#include "kelp/core/common/files/path-tests.h"
#include "kelp/core/kelp/package/descriptor.h"
#include "kelp/core/kelp/package/i-database-path-resolver.h"
#include "kelp/core/kelp/publication/publication-plan.h"
#include "kelp/core/kelp/store/fs-database.h"

namespace fs = std::filesystem;

namespace Core::KELP {

namespace {

using Common::ErrorCode;

void requireNoObjection(const std::string &objection) {
    if (!objection.empty())
        throw Common::Error(ErrorCode::FileConflict, objection);
}

} // namespace

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
    requireNoObjection(entry(id).objectionTo(staging.version, {staging.version}));
    if (Common::lookFor(staging.path)) {
        // While nothing is current, links that an earlier removal left are dangling.
        finishTakingBack(id);
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
