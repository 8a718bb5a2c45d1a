// The part of FSDatabase that publishes the files of the current version, so that it can be taken back after
// any interruption: the plan of it is on disk before the first file is published, and until the lists are.

#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/errors/log-stream.h"
#include "kelp/core/common/files/filesystem.h"
#include "kelp/core/common/files/path-tests.h"
#include "kelp/core/kelp/mappings/mapping-table.h"
#include "kelp/core/kelp/package/descriptor.h"
#include "kelp/core/kelp/package/i-database-path-resolver.h"
#include "kelp/core/kelp/package/path-list.h"
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

std::vector<Mapping> mappingsOf(const std::string &id, const PackageInformation &information) {
    return buildMappings(id, information.at("certificate.id"), valueOf(information, "general.orgname"),
                         valueOf(information, "general.appname"), Rooted::Yes);
}

std::vector<std::string> targetsOf(const PublicationPlan &plan) {
    std::vector<std::string> targets;
    targets.reserve(plan.files.size());
    for (const PlannedFile &file : plan.files)
        targets.push_back(file.target);
    return targets;
}

bool isListed(const fs::path &list, const std::vector<std::string> &paths) {
    return Common::exists(list) && readPathList(list) == paths;
}

/// What is right on the disk is not written again: a full disk has no room for it.
void list(const fs::path &file, const std::vector<std::string> &paths, Durability durability) {
    if (!isListed(file, paths))
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

/// In a handler. A descriptor that is gone must not keep a package from being updated or removed. Where the
/// machine fails to tell what is published, the version must not go, which tells of it the next time.
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
    return pathResolver_->currentDirectory(id) / publicationPlanName;
}

PublicationPlan FSDatabase::publicationOf(const PackageStaging &staging,
                                          const IDatabasePathResolver &pathResolver) {
    const fs::path descriptor = pathResolver.descriptorFile(staging.id, staging.version).filename();
    return planPublication(staging.path, fs::absolute(pathResolver.currentDirectory(staging.id)),
                           mappingsOf(staging.id, readDescriptor(staging.path / descriptor)),
                           DanglingLinks::Count);
}

void FSDatabase::generateMappings(const std::string &id) {
    const PackageInformation information = packageInfo(id);
    const fs::path current = fs::absolute(pathResolver_->currentDirectory(id));
    const auto mappings = mappingsOf(id, information);
    const MappingMode mode =
        publicationMode(current, mappings, valueOf(information, "certificate.subgroup").value_or(""));
    PublicationPlan plan;
    std::vector<std::string> made;
    try {
        plan = planPublication(current, current, mappings, DanglingLinks::Fail);
        // Something of ours is in the way where it could not be removed.
        takeBackFiles(plan, CopiedLinks::AreForeign);
        // While there is no plan: what a plan names is taken for ours, whoever made it.
        requireFreeTargets(plan);
        writePlan(id, plan);
        publish(plan, mode, made);
    } catch (const std::exception &error) {
        LogStream(LogLevel::Error) << error;
        unpublish(made);
        // With the version the plan may go, which names them.
        removeEmptyDirectories(deepestFirst(plan.directories));
        throw;
    }
    recordPublication(id, plan);
}

void FSDatabase::writePlan(const std::string &id, const PublicationPlan &plan) {
    try {
        writePublicationPlan(planFile(id), plan);
    } catch (const std::exception &error) {
        // A full disk must not cost a version that comes back after an update: its lists name all of it.
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
        // Without a list no removal would find what was published.
        LogStream(LogLevel::Error) << error;
        unpublish(targets);
        throw Error(ErrorCode::Filesystem, "Failed to store generated mappings list for " + id + " package");
    }
    // Where the list of the directories is missing, the plan stays and tells of them.
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

/// The plan goes when everything else is on disk. One that stays has the next update or removal look once
/// more for what it names.
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

/// The list of the files last: where it is, the package is published as a whole.
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
    // The lists behind any other `current` tell of the files of whoever they belong to.
    if (!isInstalled(id))
        return;
    const auto linkList = findPathList(pathResolver_->symlinkListFile(id, PackageSlot::Current));
    const auto directoryList = findPathList(pathResolver_->generatedDirListFile(id, PackageSlot::Current));
    const auto links = linkList.value_or(std::vector<std::string>());
    const auto directories = directoryList.value_or(std::vector<std::string>());
    // The files before the directories, which have to be empty.
    PublicationPlan left{removeMappings(links, fs::absolute(pathResolver_->currentDirectory(id))), {}};
    if (!removeEmptyDirectories(directories).empty() || !left.files.empty())
        left.directories = {directories.rbegin(), directories.rend()};
    noteCopiedLinks(id, left);
    if (!linkList || !directoryList)
        takeBackUnlisted(id, left);
    std::set<fs::path> places = parentsOf(targetsOf(takeBackUnfinished(id, left)));
    places.merge(parentsOf(links));
    // Raised: what names them is about to go.
    if (left != PublicationPlan())
        noteLeftBehind(id, left);
    try {
        // What says that they are ours may be about to go.
        Common::flushFilesystems(places);
    } catch (const std::exception &error) {
        LogStream(LogLevel::Warning) << error;
    }
}

/// A link that was published as a copy has words of its own. Where it could not be looked at, they are noted
/// beside the version, which goes: nothing else tells later whose it is.
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

/// A list that is there and cannot be read is no empty one: then what the version has to publish is taken
/// back, as far as it can be told to be ours.
void FSDatabase::takeBackUnlisted(const std::string &id, PublicationPlan &left) {
    try {
        append(left, takeBack(planOfTree(id)));
    } catch (const std::exception &error) {
        logUnlessFaultOfMachine(error);
    }
}

/// Appends to `left` what could not be taken back.
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
        // Nothing of it is in the way of a publication; an examination finds the file.
        LogStream(LogLevel::Warning) << error;
    }
}

/// A plan that is not all there is made again, of what it was made of.
PublicationPlan FSDatabase::unfinishedPlan(const std::string &id) const {
    if (auto plan = parsePublicationPlan(Common::readIfExists(planFile(id)).value_or("")))
        return *plan;
    return planOfTree(id);
}

PublicationPlan FSDatabase::planOfTree(const std::string &id) const {
    const fs::path current = fs::absolute(pathResolver_->currentDirectory(id));
    const auto information = readDescriptor(pathResolver_->descriptorFile(id, PackageSlot::Current));
    return planPublication(current, current, mappingsOf(id, information), DanglingLinks::Count);
}

} // namespace Core::KELP
