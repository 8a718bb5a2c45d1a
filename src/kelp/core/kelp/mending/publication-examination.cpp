#include "kelp/core/kelp/mending/examination.h"

#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/files/directory.h"
#include "kelp/core/common/files/durable-file.h"
#include "kelp/core/common/files/filesystem.h"
#include "kelp/core/common/files/path-tests.h"
#include "kelp/core/common/i-configuration.h"
#include "kelp/core/common/places.h"
#include "kelp/core/kelp/mappings/mapping-table.h"
#include "kelp/core/kelp/mending/contents-examination.h"
#include "kelp/core/kelp/mending/held-entry.h"
#include "kelp/core/kelp/package/contents-list.h"
#include "kelp/core/kelp/package/database-path-resolver.h"
#include "kelp/core/kelp/package/descriptor.h"
#include "kelp/core/kelp/package/path-list.h"
#include "kelp/core/kelp/package/store-names.h"
#include "kelp/core/kelp/publication/publication-plan.h"
#include "kelp/core/kelp/publication/publication.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <map>
#include <optional>
#include <set>
#include <unordered_set>

namespace fs = std::filesystem;

namespace Core::KELP {

namespace {

/// Whether a published copy still equals its source; a link always does. Raises ErrorCode::Filesystem if one
/// cannot be looked at or read.
bool hasContentOf(const fs::path &target, const fs::path &source) {
    std::error_code error;
    if (!fs::is_regular_file(fs::symlink_status(target, error)))
        return true;
    return Common::lookThrough(source) && fs::is_regular_file(source, error) &&
           Common::hasSameContent(target, source);
}

/// By the road that the publication takes: nobody but root decides where it leads.
HeldEntry heldTarget(const std::string &target, mode_t type) {
    const fs::path path = target;
    const auto parent = Common::Directory::byLinksOfRoot(path.parent_path());
    if (!parent)
        throw Common::Error(Common::ErrorCode::Filesystem, "Couldn't mend " + target, ENOENT);
    const int file = ::open(parent->reach(path.filename().string()).c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC);
    return {Common::FileDescriptor(file), path, type};
}

constexpr mode_t permissionBits = 0777;
constexpr mode_t modeWithSetBits = 07777;

/// Those that a copy of it has.
mode_t permissionsOf(const std::string &source) {
    struct stat status = {};
    if (::stat(source.c_str(), &status) != 0)
        throw Common::Error(Common::ErrorCode::Filesystem, "Couldn't look at file: " + source, errno);
    return status.st_mode & modeWithSetBits;
}

/// The publication of one version under examination.
class PublicationExamination {
public:
    PublicationExamination(const IConfiguration &configuration, const StoredPackage &package) :
        resolver_(configuration),
        id_(package.id),
        current_(fs::absolute(resolver_.currentDirectory(package.id))),
        mappings_(publicationRows(*package.information)),
        mode_(publicationMode(current_, mappings_, package.value("certificate.subgroup"))),
        // Dangling links count, so that one does not hide the faults of the rest.
        plan_(planPublication(current_, current_, mappings_, DanglingLinks::Count)),
        hasPlan_(package.hasPlan),
        listed_(StoreView(configuration).publishedFiles(id_)) {
        dropExtra();
        for (const PlannedFile &file : plan_.files)
            planned_.insert(file.target);
    }

    std::vector<Finding> run() {
        for (const PlannedFile &file : plan_.files)
            examineFile(file);
        for (const std::string &directory : plan_.directories)
            examineDirectory(directory);
        examineSharedDirectories();
        examineListed();
        examineLists();
        if (hasPlan_)
            add(FindingKind::UnfinishedUpdate, planFile(), "its publication was begun; --repair completes it",
                [this_ = *this] { this_.endPublication(); });
        return std::move(findings_);
    }

private:
    void add(FindingKind kind, const fs::path &path, std::string text, std::function<void()> mend) {
        findings_.push_back({id_, kind, path, std::move(text), std::move(mend)});
    }

    fs::path planFile() const { return current_ / StoreName::publicationPlan; }

    /// A repair must not publish a file that others have put into the version. If it is published already, it
    /// stays planned, so that the lists name it and a removal removes it.
    void dropExtra() {
        const auto list = ContentsList::read(current_);
        hasContents_ = list.has_value();
        if (!list)
            return;
        std::unordered_set<std::string> staged;
        for (const ContentsEntry &entry : list->entries) {
            staged.insert(entry.path);
            if (entry.type == ContentsEntry::Type::Directory)
                stagedModes_.emplace(entry.path, entry.mode);
        }
        const std::size_t start = current_.native().size() + 1;
        for (const PlannedFile &file : plan_.files)
            if (!staged.contains(file.source.substr(start)) &&
                (!Common::isThere(file.target) || !isOurs(file)))
                extra_.insert(file.target);
        std::erase_if(plan_.files, [&](const PlannedFile &file) { return extra_.contains(file.target); });
        std::erase_if(plan_.directories, [&](const std::string &directory) {
            return !staged.contains(packagePathOf(directory, mappings_)) && !Common::isThere(directory);
        });
        // What was found later may have lost the file before.
        if (list->foundOn.empty())
            staged_ = std::move(staged);
    }

    /// One that cannot be looked at or read may be right.
    void examineFile(const PlannedFile &file) {
        try {
            examineTarget(file);
        } catch (const Common::Error &error) {
            add(FindingKind::Unexamined, file.target,
                "could not be examined: " + Common::explainedText(error), {});
        }
    }

    void examineTarget(const PlannedFile &file) {
        if (const fs::path obstacle = obstacleAbove(file.target); !obstacle.empty()) {
            if (obstacles_.insert(obstacle).second)
                add(FindingKind::Foreign, obstacle,
                    "is somebody else's, where a directory of this application belongs", {});
        } else if (!Common::lookFor(file.target))
            add(FindingKind::Missing, file.target, "is not published; --repair publishes it",
                [file, mode = mode_] { createMapping(file.source, file.target, mode); });
        else if (!isOurs(file))
            add(FindingKind::Foreign, file.target,
                "is somebody else's, where a file of this application belongs", {});
        else if (isLinkForCopy(file))
            add(FindingKind::Changed, file.target, "is a link where a copy belongs", {});
        else if (!hasContentOf(file.target, file.source))
            // The wanted content is unknown: a copy may have been changed on purpose.
            add(FindingKind::Changed, file.target,
                "has another content than the file in the store; kelpctl verify tells if that one is altered",
                {});
        else
            examineCopy(file);
    }

    /// A copy belongs to root, and has its source's permissions and attribute. Each repair looks at the
    /// source again, which an earlier one has mended. Without a list of contents the source proves nothing.
    void examineCopy(const PlannedFile &file) {
        struct stat copy = {};
        if (!hasContents_ || ::lstat(file.target.c_str(), &copy) != 0 || !S_ISREG(copy.st_mode))
            return;
        if ((copy.st_mode & modeWithSetBits) != permissionsOf(file.source))
            add(FindingKind::Mode, file.target,
                "has other permissions than the file in the store; --repair sets them",
                [file] { heldTarget(file.target, S_IFREG).setMode(permissionsOf(file.source)); });
        if (copy.st_uid != 0 || copy.st_gid != 0)
            add(FindingKind::Owner, file.target, "does not belong to root; --repair changes that",
                [file] { heldTarget(file.target, S_IFREG).setOwner(0, 0); });
        if (carriesId(file.source, id_) && !carriesId(file.target, id_))
            add(FindingKind::Attribute, file.target,
                std::string("does not carry the application's id as ") + applicationIdAttribute +
                    "; --repair sets it",
                [file, id = id_] { heldTarget(file.target, S_IFREG).setApplication(id); });
    }

    /// Others share the directories of the other rows, and may have closed them on purpose.
    bool isOwnDirectory(const std::string &directory) const {
        return std::ranges::any_of(mappings_, [&](const Mapping &row) {
            return row.ownsDirectory() && (directory + "/").starts_with(row.target());
        });
    }

    /// The store makes a directory with mode 0755. One that rpm had made has the mode of the package's.
    void examineDirectory(const std::string &directory) {
        constexpr mode_t made = 0755;
        struct stat status = {};
        if (!isOwnDirectory(directory) || ::lstat(directory.c_str(), &status) != 0 ||
            !S_ISDIR(status.st_mode))
            return;
        const mode_t mode = status.st_mode & permissionBits;
        if (mode != made && mode != packedMode(packagePathOf(directory, mappings_)))
            add(FindingKind::Mode, directory, "has other permissions than 0755; --repair sets them",
                [directory] { heldTarget(directory, S_IFDIR).setMode(made); });
        // A group without the right to write may come from the directory above.
        if (status.st_uid != 0 || (status.st_gid != 0 && (mode & S_IWGRP) != 0))
            add(FindingKind::Owner, directory, "does not belong to root; --repair changes that",
                [directory] { heldTarget(directory, S_IFDIR).setOwner(0, 0); });
    }

    /// By the list: the directory in the store may have had the same damage.
    std::optional<mode_t> packedMode(const std::string &path) const {
        if (const auto staged = stagedModes_.find(path); staged != stagedModes_.end())
            return staged->second;
        struct stat stored = {};
        return !hasContents_ && ::lstat((current_ / path).c_str(), &stored) == 0
                   ? std::optional(stored.st_mode & permissionBits)
                   : std::nullopt;
    }

    /// In usr nothing that leads to published files is closed, or another's, on purpose.
    void examineSharedDirectories() {
        const std::string usr = Common::belowRoot("usr").native() + "/";
        std::set<fs::path> shared;
        for (const PlannedFile &file : plan_.files)
            for (fs::path above = fs::path(file.target).parent_path();
                 (above.native() + "/").starts_with(usr) && shared.insert(above).second;)
                above = above.parent_path();
        for (const fs::path &directory : shared)
            if (!isOwnDirectory(directory))
                examineSharedDirectory(id_, directory, findings_);
    }

    /// A link that points beside itself is copied as it is, and carries no attribute.
    bool isOurs(const PlannedFile &file) const {
        return isMappingOf(file.target, file.source) ||
               (mode_ == MappingMode::Copy && isCopiedLinkOf(file.target, file.source));
    }

    bool isLinkForCopy(const PlannedFile &file) const {
        return mode_ == MappingMode::Copy && Common::isSymlink(file.target) &&
               !Common::isSymlink(file.source);
    }

    /// The entry in place of a directory above; empty without one.
    static fs::path obstacleAbove(const fs::path &target) {
        fs::path above = target.parent_path();
        while (!Common::isThere(above) && above.has_relative_path())
            above = above.parent_path();
        std::error_code error;
        return fs::is_directory(above, error) ? fs::path() : above;
    }

    bool isPlanned(const std::string &target) const { return planned_.contains(target); }

    /// Whether a file of the package could have been published there. Otherwise the line is torn, and is the
    /// beginning of another path, or it is garbled.
    bool isPossible(const std::string &target) const {
        const auto next = planned_.lower_bound(target);
        return !target.ends_with('/') && !extra_.contains(target) &&
               (next == planned_.end() || !next->starts_with(target)) &&
               (!staged_ || staged_->contains(packagePathOf(target, mappings_))) &&
               std::ranges::any_of(mappings_,
                                   [&](const Mapping &row) { return target.starts_with(row.target()); });
    }

    /// If the store has lost a file, a link or a copy of it is left, or only a line of the list.
    void examineListed() {
        for (const std::string &target : listed_.value_or(std::vector<std::string>())) {
            const bool isLeft = Common::isThere(target) ? isMapping(target) && isLost(mappingTarget(target))
                                                        : isPossible(target);
            if (!isPlanned(target) && isLeft)
                // Only the package file can bring it back.
                add(FindingKind::Dead, target, "comes from a file that the store has lost", {});
        }
    }

    bool isLost(const fs::path &source) const {
        std::error_code error;
        return source.native().starts_with(current_.native() + "/") && !fs::exists(source, error);
    }

    /// The text of symlink.list as it should be: the lines of the present list, and the planned files that
    /// are published or missing. A missing one counts too: as long as it is not published, `kelpctl status`
    /// tells of it by the list. Drops each line whose path the package cannot have published, such as a torn
    /// line. That path may be a foreign file, which a removal would take for the package's.
    std::vector<std::string> completeList() const {
        std::vector<std::string> list = listed_.value_or(std::vector<std::string>());
        std::erase_if(list, [this](const std::string &target) {
            return !isPlanned(target) && !isPossible(target) && !isMappingBelow(target, current_);
        });
        const std::set<std::string> known(list.begin(), list.end());
        for (const PlannedFile &file : plan_.files)
            if (!known.contains(file.target) && (!Common::isThere(file.target) || isOurs(file)))
                list.push_back(file.target);
        return list;
    }

    void examineLists() {
        if (!listed_ || completeList() != *listed_ || !areDirectoriesListed())
            add(FindingKind::Unlisted, resolver_.symlinkListFile(id_, PackageSlot::Current),
                "does not list all that is published; --repair writes it anew",
                [this_ = *this] { this_.writeLists(); });
    }

    bool areDirectoriesListed() const {
        const fs::path file = resolver_.generatedDirListFile(id_, PackageSlot::Current);
        if (!Common::isThere(file))
            return false;
        const std::vector<std::string> list = readPathList(file);
        const std::set<std::string> listed(list.begin(), list.end());
        return std::ranges::all_of(plan_.directories,
                                   [&](const std::string &directory) { return listed.contains(directory); });
    }

    /// Each list is replaced in one step: a kill leaves the old one, and the finding.
    void writeLists() const {
        writePathList(resolver_.symlinkListFile(id_, PackageSlot::Current), completeList(),
                      Common::Durability::Flushed);
        writePathList(resolver_.generatedDirListFile(id_, PackageSlot::Current),
                      {plan_.directories.rbegin(), plan_.directories.rend()}, Common::Durability::Flushed);
    }

    /// The plan goes last: while it exists, the next examination looks at its files.
    void endPublication() const {
        removeUnfinishedCopies(plan_);
        std::set<fs::path> places = {current_};
        for (const PlannedFile &file : plan_.files)
            places.insert(fs::path(file.target).parent_path());
        Common::flushFilesystems(places);
        Common::removeAll(planFile());
    }

    DatabasePathResolver resolver_;
    std::string id_;
    fs::path current_;
    std::vector<Mapping> mappings_;
    MappingMode mode_;
    PublicationPlan plan_;
    std::set<std::string> planned_;             ///< The plan's targets: a package may have tens of thousands.
    std::map<std::string, mode_t> stagedModes_; ///< Of the listed directories, by their paths.
    std::set<std::string> extra_;               ///< Targets of files that were not staged.
    std::optional<std::unordered_set<std::string>> staged_; ///< All entries, if a list of staged ones tells.
    bool hasPlan_;
    bool hasContents_ = false; ///< Whether the version has a list of contents.
    std::optional<std::vector<std::string>> listed_;
    std::set<fs::path> obstacles_;
    std::vector<Finding> findings_;
};

} // namespace

std::vector<Finding> examinePublication(const IConfiguration &configuration, const StoredPackage &package) {
    return PublicationExamination(configuration, package).run();
}

} // namespace Core::KELP
