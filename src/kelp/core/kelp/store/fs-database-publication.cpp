// The part of FSDatabase that publishes the files of the current version. Any interruption can be rolled
// back: before the first file is published, the plan or a complete list of the files is on disk.

#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/errors/log-stream.h"
#include "kelp/core/common/files/filesystem.h"
#include "kelp/core/common/files/path-tests.h"
#include "kelp/core/kelp/mappings/mapping-table.h"
#include "kelp/core/kelp/package/descriptor.h"
#include "kelp/core/kelp/package/i-database-path-resolver.h"
#include "kelp/core/kelp/package/path-list.h"
#include "kelp/core/kelp/package/store-names.h"
#include "kelp/core/kelp/publication/left-behind.h"
#include "kelp/core/kelp/publication/publication-plan.h"
#include "kelp/core/kelp/publication/publication.h"
#include "kelp/core/kelp/store/fs-database.h"

#include <set>

namespace fs = std::filesystem;

namespace Core::KELP {

namespace {

using Common::Durability;
using Common::Error;
using Common::ErrorCode;
using Common::LogLevel;
using Common::LogStream;

std::vector<std::string> targetsOf(const PublicationPlan &plan) {
    std::vector<std::string> targets;
    targets.reserve(plan.files.size());
    for (const PlannedFile &file : plan.files)
        targets.push_back(file.target);
    return targets;
}

bool isListed(const fs::path &list, const std::vector<std::string> &paths) {
    return Common::lookThrough(list) && requirePathList(list) == paths;
}

/// Does not rewrite a correct file: a full disk has no room for it. After a failed look it may be wrong.
void list(const fs::path &file, const std::vector<std::string> &paths, Durability durability) {
    if (!Common::isThere(file) || findPathList(file) != paths)
        writePathList(file, paths, durability);
}

/// So that a later removal finds each directory emptied.
std::vector<std::string> deepestFirst(const std::vector<std::string> &directories) {
    return {directories.rbegin(), directories.rend()};
}

std::set<fs::path> parentsOf(const std::vector<std::string> &paths) {
    std::set<fs::path> parents;
    for (const std::string &path : paths)
        parents.insert(fs::path(path).parent_path());
    return parents;
}

/// Call it in a handler. A missing descriptor must not block an update or removal. But if the machine fails
/// to tell the published files, the version must stay: it tells them the next time.
void logUnlessFaultOfMachine(const std::exception &error) {
    if (isFaultOfMachine(error))
        throw;
    LogStream(LogLevel::Warning) << error;
}

void append(PublicationPlan &plan, const PublicationPlan &more) {
    plan.files.insert(plan.files.end(), more.files.begin(), more.files.end());
    plan.directories.insert(plan.directories.end(), more.directories.begin(), more.directories.end());
}

} // namespace

fs::path FSDatabase::planFile(const std::string &id) const {
    return pathResolver_->currentDirectory(id) / StoreName::publicationPlan;
}

PublicationPlan FSDatabase::publicationOf(const PackageStaging &staging,
                                          const IDatabasePathResolver &pathResolver) {
    const fs::path descriptor = pathResolver.descriptorFile(staging.id, staging.version).filename();
    return planPublication(staging.path, fs::absolute(pathResolver.currentDirectory(staging.id)),
                           publicationRows(readDescriptor(staging.path / descriptor)), DanglingLinks::Count);
}

void FSDatabase::generateMappings(const std::string &id) {
    const PackageInformation information = packageInfo(id);
    const fs::path current = fs::absolute(pathResolver_->currentDirectory(id));
    const auto mappings = publicationRows(information);
    const MappingMode mode =
        publicationMode(current, mappings, valueOf(information, "certificate.subgroup").value_or(""));
    PublicationPlan plan;
    std::vector<std::string> made;
    try {
        plan = planPublication(current, current, mappings, DanglingLinks::Fail);
        // Our own files may be in the way, if they could not be removed.
        takeBackFiles(plan, CopiedLinks::AreForeign);
        // Before there is a plan: files that a plan names count as ours.
        requireFreeTargets(plan);
        writePlan(id, plan);
        publish(plan, mode, made);
    } catch (const std::exception &error) {
        LogStream(LogLevel::Error) << error;
        unpublish(made);
        // The plan, which names the directories, may go with the version.
        removeEmptyDirectories(deepestFirst(plan.directories));
        throw;
    }
    made = {}; // Frees it: it is as long as the plan, like the lists.
    recordPublication(id, plan);
}

void FSDatabase::writePlan(const std::string &id, const PublicationPlan &plan) {
    try {
        writePublicationPlan(planFile(id), plan);
    } catch (const std::exception &error) {
        // A full disk must not cost a version that comes back after an update: its list of files is already
        // complete.
        if (!isListed(pathResolver_->symlinkListFile(id, PackageSlot::Current), targetsOf(plan)))
            throw;
        LogStream(LogLevel::Warning) << error;
    }
}

void FSDatabase::recordPublication(const std::string &id, const PublicationPlan &plan) {
    const std::vector<std::string> targets = targetsOf(plan);
    try {
        list(pathResolver_->symlinkListFile(id, PackageSlot::Current), targets, Durability::Flushed);
    } catch (const std::exception &error) {
        // Without a list no removal would find the published files.
        LogStream(LogLevel::Error) << error;
        unpublish(targets);
        throw Error(ErrorCode::Filesystem, "Failed to store generated mappings list for " + id + " package");
    }
    // Without the list of directories the plan, if there is one, stays and names them.
    if (recordDirectories(id, plan))
        endPlan(id, plan);
}

bool FSDatabase::recordDirectories(const std::string &id, const PublicationPlan &plan) {
    try {
        list(pathResolver_->generatedDirListFile(id, PackageSlot::Current), deepestFirst(plan.directories),
             Durability::Flushed);
        return true;
    } catch (const std::exception &error) {
        LogStream(LogLevel::Warning) << error;
        LogStream(LogLevel::Warning) << "Failed to store generated directories list for " << id << " package";
        return false;
    }
}

/// The plan goes when everything else is on disk. If it stays, the next update or removal looks again for the
/// files that it names.
void FSDatabase::endPlan(const std::string &id, const PublicationPlan &plan) {
    try {
        std::set<fs::path> places = parentsOf(targetsOf(plan));
        places.insert(pathResolver_->currentDirectory(id));
        Common::flushFilesystems(places);
        Common::removeAll(planFile(id));
    } catch (const std::exception &error) {
        LogStream(LogLevel::Warning) << error;
    }
}

/// The list of files last: it means that the package is published as a whole.
void FSDatabase::record(const std::string &id, const std::vector<std::string> &files,
                        const std::vector<std::string> &directories) {
    list(pathResolver_->generatedDirListFile(id, PackageSlot::Current), deepestFirst(directories),
         Durability::Deferred);
    list(pathResolver_->symlinkListFile(id, PackageSlot::Current), files, Durability::Deferred);
}

bool FSDatabase::isRecorded(const std::string &id, const std::vector<std::string> &files,
                            const std::vector<std::string> &directories) {
    return isListed(pathResolver_->symlinkListFile(id, PackageSlot::Current), files) &&
           isListed(pathResolver_->generatedDirListFile(id, PackageSlot::Current), deepestFirst(directories));
}

void FSDatabase::tryRemoveMappingsUsingCurrentDirectory(const std::string &id) {
    // Lists reached by a foreign `current` name foreign files.
    if (!isInstalled(id))
        return;
    const auto linkList = findPathList(pathResolver_->symlinkListFile(id, PackageSlot::Current));
    const auto directoryList = findPathList(pathResolver_->generatedDirListFile(id, PackageSlot::Current));
    const auto links = linkList.value_or(std::vector<std::string>());
    const auto directories = directoryList.value_or(std::vector<std::string>());
    // Files before directories, which must be empty.
    PublicationPlan left{removeMappings(links, fs::absolute(pathResolver_->currentDirectory(id))), {}};
    if (!removeEmptyDirectories(directories).empty() || !left.files.empty())
        left.directories = {directories.rbegin(), directories.rend()};
    noteCopiedLinks(id, left);
    if (!linkList || !directoryList)
        takeBackUnlisted(id, left);
    std::set<fs::path> places = parentsOf(targetsOf(takeBackUnfinished(id, left)));
    places.merge(parentsOf(links));
    // Raised: the lists that name them are about to go.
    if (left != PublicationPlan())
        noteLeftBehind(id, left);
    try {
        // The records that they are ours may be about to go.
        Common::flushFilesystems(places);
    } catch (const std::exception &error) {
        LogStream(LogLevel::Warning) << error;
    }
}

/// A link that was published as a copy has a text of its own. If a look at it fails, its text is noted
/// outside the version, which goes. Otherwise nothing later tells whose it is.
void FSDatabase::noteCopiedLinks(const std::string &id, PublicationPlan &left) {
    std::set<std::string> unseen;
    for (const PlannedFile &file : left.files)
        if (file.source == fs::absolute(pathResolver_->currentDirectory(id)))
            unseen.insert(file.target);
    if (unseen.empty())
        return;
    try {
        for (const PlannedFile &file : planOfTree(id).files)
            if (unseen.contains(file.target) && Common::isSymlink(file.source))
                left.files.push_back({file.target, Common::readSymlink(file.source)});
    } catch (const std::exception &error) {
        LogStream(LogLevel::Warning) << error;
    }
}

/// An unreadable list does not count as empty: looks the version's files up in the system, and removes those
/// that are ours.
void FSDatabase::takeBackUnlisted(const std::string &id, PublicationPlan &left) {
    try {
        append(left, takeBack(planOfTree(id)));
    } catch (const std::exception &error) {
        logUnlessFaultOfMachine(error);
    }
}

/// Appends the files that could not be removed to `left`.
PublicationPlan FSDatabase::takeBackUnfinished(const std::string &id, PublicationPlan &left) {
    try {
        if (!Common::lookFor(planFile(id)))
            return {};
        PublicationPlan plan = unfinishedPlan(id);
        append(left, takeBack(plan));
        return plan;
    } catch (const std::exception &error) {
        logUnlessFaultOfMachine(error);
        return {};
    }
}

void FSDatabase::finishTakingBack(const std::string &id) const {
    try {
        takeBackLeftBehind(id);
    } catch (const std::exception &error) {
        // It is in the way of no publication, and an examination finds the file.
        LogStream(LogLevel::Warning) << error;
    }
}

/// Rebuilds a torn plan from the version's tree.
PublicationPlan FSDatabase::unfinishedPlan(const std::string &id) const {
    if (auto plan = parsePublicationPlan(Common::readIfExists(planFile(id)).value_or("")))
        return *plan;
    return planOfTree(id);
}

PublicationPlan FSDatabase::planOfTree(const std::string &id) const {
    const fs::path current = fs::absolute(pathResolver_->currentDirectory(id));
    const auto information = readDescriptor(pathResolver_->descriptorFile(id, PackageSlot::Current));
    return planPublication(current, current, publicationRows(information), DanglingLinks::Count);
}

} // namespace Core::KELP
