#include "kelp/core/kelp/installing/repair.h"

#include "kelp/core/common/errors/error-category.h"
#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/errors/reraise-as.h"
#include "kelp/core/common/files/directory.h"
#include "kelp/core/common/files/durable-file.h"
#include "kelp/core/common/files/file-descriptor.h"
#include "kelp/core/common/files/filesystem.h"
#include "kelp/core/common/files/path-tests.h"
#include "kelp/core/common/rpm/database.h"
#include "kelp/core/common/rpm/digest.h"
#include "kelp/core/kelp/incoming/rpm-package.h"
#include "kelp/core/kelp/inspection/records-view.h"
#include "kelp/core/kelp/inspection/store-view.h"
#include "kelp/core/kelp/installing/kept-entries.h"
#include "kelp/core/kelp/installing/package-file.h"
#include "kelp/core/kelp/mending/examination.h"
#include "kelp/core/kelp/mending/lost-descriptor.h"
#include "kelp/core/kelp/mending/operation-records.h"
#include "kelp/core/kelp/package/contents-list.h"
#include "kelp/core/kelp/package/database-path-resolver.h"
#include "kelp/core/kelp/package/descriptor.h"
#include "kelp/core/kelp/package/package-information.h"
#include "kelp/core/kelp/package/store-names.h"
#include "kelp/core/kelp/take-over/own-directory.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <map>
#include <set>

namespace fs = std::filesystem;

namespace Core::KELP {

namespace {

using Common::Error;
using Common::ErrorCode;
using Common::FileDescriptor;
using Type = ContentsEntry::Type;

/// The tree of a version, held by its directory.
class HeldTree {
public:
    explicit HeldTree(fs::path path) :
        path_(std::move(path)), directory_(::open(path_.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC)) {
        for (ContentsEntry &entry : contentsOfTree(path_))
            entries_.emplace(entry.path, std::move(entry));
    }

    const std::map<std::string, ContentsEntry> &entries() const { return entries_; }

    const ContentsEntry *find(const std::string &path) const {
        const auto found = entries_.find(path);
        return found == entries_.end() ? nullptr : &found->second;
    }

    /// Whether the entry of the list has its content here.
    bool holds(const ContentsEntry &listed) const {
        const ContentsEntry *found = find(listed.path);
        return found && found->type == Type::File && found->size == listed.size &&
               digest(listed.path) == listed.digest;
    }

    std::string digest(const std::string &path) const {
        return Common::Rpm::sha256Beneath(directory_.get(), path, path_ / path);
    }

private:
    fs::path path_;
    FileDescriptor directory_;
    std::map<std::string, ContentsEntry> entries_;
};

/// The repair of one version.
class VersionRepair {
public:
    VersionRepair(const IConfiguration &configuration, const fs::path &file, bool isDryRun) :
        configuration_(configuration),
        resolver_(configuration),
        id_(RpmPackage::idOf(file)),
        certificate_(requiredDeveloper(id_)),
        package_(RpmPackage::fromFile(
            file, {PackageSignatures::Cms(PackageSignatures::Group::Developer, certificate_)})),
        isDryRun_(isDryRun) {}

    Installed run() {
        requireArrived();
        if (!isDryRun_)
            // Unfinished operations end first: they may change the version.
            settlePackage(configuration_, id_);
        requireInstalled();
        // What is mounted there would leave with the old files.
        Common::requireNoMount(version());
        requireList();
        const OwnDirectory directory = OwnDirectory::installing(configuration_);
        directory.require();
        const ScratchTree scratch(directory.path() / (isDryRun_ ? dryRunName(id_) : id_));
        make(scratch.path());
        if (!isDryRun_)
            exchange(scratch.path());
        return {id_, package_.version(), package_.version(), true};
    }

private:
    fs::path version() const { return resolver_.versionDirectory(id_, package_.version()); }

    [[noreturn]] void refuse(ErrorCode code, const std::string &reason) const {
        throw Error(code, id_ + ": " + reason);
    }

    /// Asked before anything is settled: with lists of its own a version on its way would pass for whole.
    void requireArrived() const {
        if (idsOnTheirWay(configuration_).contains(id_))
            refuse(ErrorCode::Internal,
                   "The package is still in rpm, from where kelp-launcher takes it over");
        // The next removal would take what is repaired here.
        if (unfinishedRemoval() == id_)
            refuse(ErrorCode::Internal, "Its removal was begun, and kelpctl remove completes it");
    }

    void requireInstalled() {
        if (package_.id() != id_)
            throw Error(ErrorCode::BadPackageFileFormat, "The package file has changed meanwhile");
        const auto installed = StoreView(configuration_).package(id_);
        if (installed && !installed->failure.empty())
            throw Error(ErrorCode::Filesystem, installed->failure);
        if (!installed || installed->version.empty() ||
            !Common::lookFor(resolver_.versionDirectory(id_, installed->version)))
            refuse(ErrorCode::PackageNotExist, "There is no installed version that it could repair");
        if (installed->isLink || installed->isObstructed || installed->hasNext || installed->hasPlan)
            refuse(ErrorCode::FileConflict, "See to what kelpctl doctor says of it first");
        if (installed->version != package_.version())
            refuse(ErrorCode::BadPackageVersion,
                   "Version " + installed->version + " is installed, and not " + package_.version());
        requireKey(*installed);
    }

    /// The key of the descriptor; where that is lost or another's, that of the registry.
    void requireKey(const StoredPackage &installed) {
        hasDescriptor_ = installed.value("certificate.id") == certificate_.keyId();
        if (hasDescriptor_)
            return;
        const auto record = lastRecord(id_);
        if (record ? record->keyId() != certificate_.keyId() : installed.information.has_value())
            refusePackage(id_, ErrorCode::DeveloperMismatch);
        if (record)
            previousKeys_ = record->previousKeyIds();
    }

    void requireList() {
        auto list = ContentsList::read(version());
        if (!list)
            refuse(ErrorCode::BadPackageContent,
                   "The installed version has no list of contents that can be read");
        if (!list->foundOn.empty())
            refuse(ErrorCode::BadPackageContent,
                   "The list of contents tells only what was found on " + list->foundOn);
        list_ = std::move(*list);
    }

    void make(const fs::path &scratch) const {
        package_.restage(scratch, fs::absolute(version()));
        const HeldTree packed(scratch);
        requirePacked(packed);
        dropUnlisted(packed, scratch);
        KeptEntries kept(version(), scratch);
        keepPeoples(packed, kept);
        kept.carryOver();
        repairedList(scratch, kept).write(scratch, Common::Durability::Deferred);
        keepOwn(scratch);
        if (!hasDescriptor_)
            writeDescriptor(scratch / StoreName::descriptor,
                            {scratch, id_, package_.version(), package_.orgName(), package_.appName(), true},
                            developerValues(certificate_, previousKeys_), Common::Durability::Deferred);
        Common::flushFilesystem(scratch);
    }

    /// The package of the installed version, and no other of its name.
    void requirePacked(const HeldTree &packed) const {
        for (const ContentsEntry &listed : list_.entries)
            if (listed.type == Type::File && !listed.isChanged && !packed.holds(listed))
                refuse(ErrorCode::BadPackageContent,
                       "The package has not the content of " + listed.path + " that was installed");
    }

    void keepPeoples(const HeldTree &packed, KeptEntries &kept) const {
        const HeldTree installed(version());
        std::set<std::string> listed;
        for (const ContentsEntry &entry : list_.entries) {
            listed.insert(entry.path);
            const ContentsEntry *found = installed.find(entry.path);
            // Nobody sets anything by a directory or a pipe in the place of the file.
            const bool isSetting = found && (found->type == Type::File || found->type == Type::Link);
            const bool isChanged =
                entry.isConfiguration && isSetting && (entry.isChanged || !isSame(installed, entry, *found));
            if (found && (isChanged || !packed.find(entry.path)))
                kept.add(entry.path);
        }
        for (const auto &[path, entry] : installed.entries())
            if (!listed.contains(path))
                kept.add(path);
    }

    static bool isSame(const HeldTree &installed, const ContentsEntry &listed, const ContentsEntry &found) {
        return listed.type == Type::File ? installed.holds(listed)
                                         : listed.type == found.type && listed.target == found.target;
    }

    /// The list of the repaired version. It has those entries of the installed version's list that the
    /// repaired tree has, each in its state there. A kept configuration file keeps its old line. That line
    /// has the staged content, so the list still tells that a person or a fault has changed the file. A file
    /// without a line in the old list gets none.
    ContentsList repairedList(const fs::path &scratch, const KeptEntries &kept) const {
        const HeldTree repaired(scratch);
        ContentsList list;
        for (const ContentsEntry &listed : list_.entries)
            if (listed.isConfiguration && kept.contains(listed.path)) {
                list.entries.push_back(listed);
            } else if (const ContentsEntry *found = repaired.find(listed.path)) {
                ContentsEntry entry = *found;
                entry.isConfiguration = listed.isConfiguration;
                entry.isSignable = listed.isSignable;
                const bool isRead =
                    entry.type == Type::File && (kept.contains(entry.path) || listed.isChanged);
                if (entry.type == Type::File)
                    entry.digest = isRead ? repaired.digest(entry.path) : listed.digest;
                entry.isHashed = isRead || listed.isHashed;
                entry.isChanged =
                    kept.contains(entry.path) &&
                    (listed.isChanged || entry.digest != listed.digest || entry.target != listed.target);
                list.entries.push_back(std::move(entry));
            }
        return list;
    }

    /// Keeps a right descriptor, the lists of published files, and the resources.
    void keepOwn(const fs::path &scratch) const {
        Common::reraiseAs(
            ErrorCode::Filesystem, "Couldn't copy the store's files of " + version().string(), [&] {
                for (const fs::directory_entry &entry : fs::directory_iterator(version()))
                    if (const std::string name = entry.path().filename();
                        isStoreOwn(name) && !name.ends_with(".new") && name != StoreName::contentsList &&
                        (hasDescriptor_ || name != StoreName::descriptor))
                        fs::copy(entry.path(), scratch / name,
                                 fs::copy_options::recursive | fs::copy_options::copy_symlinks |
                                     fs::copy_options::overwrite_existing);
            });
    }

    /// Removes packaged files that were not installed, such as documentation that rpm left out: they would
    /// have to be published. Also removes the store's own names.
    void dropUnlisted(const HeldTree &packed, const fs::path &scratch) const {
        std::set<std::string> listed;
        for (const ContentsEntry &entry : list_.entries)
            listed.insert(entry.path);
        for (const auto &[path, entry] : packed.entries())
            if (!listed.contains(path))
                fs::remove_all(scratch / path);
        const fs::directory_iterator names(scratch);
        const std::vector<fs::directory_entry> all(begin(names), end(names));
        for (const fs::directory_entry &entry : all)
            if (isStoreOwn(entry.path().filename()))
                fs::remove_all(entry.path());
    }

    /// A power cut or kill at any moment leaves a whole version directory.
    void exchange(const fs::path &scratch) const {
        const fs::path place = version();
        if (!Common::Directory(place.parent_path())
                 .exchange(place.filename(), Common::Directory(scratch.parent_path()), scratch.filename()))
            throw Error(ErrorCode::Filesystem,
                        "The filesystem cannot exchange two directories: " + place.string());
        // Flushed before the other one goes.
        Common::flushFilesystem(place);
    }

    const IConfiguration &configuration_;
    DatabasePathResolver resolver_;
    std::string id_;
    PackageSignatures::Certificate certificate_;
    RpmPackage package_;
    bool isDryRun_;
    bool hasDescriptor_ = true;             ///< Whether the installed one can be read, and is the package's.
    std::vector<std::string> previousKeys_; ///< For a new one.
    ContentsList list_;
};

} // namespace

Installed repairPackage(const IConfiguration &configuration, const fs::path &file,
                        const InstallationOptions &options) {
    Common::Rpm::requireDatabase();
    requireWholePayload(file);
    return VersionRepair(configuration, file, options.isDryRun).run();
}

} // namespace Core::KELP
