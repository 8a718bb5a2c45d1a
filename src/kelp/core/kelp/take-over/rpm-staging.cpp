#include "kelp/core/kelp/take-over/rpm-staging.h"

#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/errors/log-stream.h"
#include "kelp/core/common/errors/reraise-as.h"
#include "kelp/core/common/files/copy.h"
#include "kelp/core/common/files/extended-attributes.h"
#include "kelp/core/common/files/file-descriptor.h"
#include "kelp/core/common/files/filesystem.h"
#include "kelp/core/common/files/path-tests.h"
#include "kelp/core/common/rpm/transaction.h"
#include "kelp/core/common/text-index.h"
#include "kelp/core/kelp/incoming/staged-contents.h"
#include "kelp/core/kelp/mappings/mapping-table.h"
#include "kelp/core/kelp/package/contents-list.h"
#include "kelp/core/kelp/package/descriptor.h"
#include "kelp/core/kelp/publication/publication-plan.h"
#include "kelp/core/kelp/take-over/copy-failures.h"
#include "kelp/core/kelp/take-over/path-identity.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <map>
#include <optional>
#include <set>
#include <string_view>
#include <utility>

namespace fs = std::filesystem;

namespace Core::KELP {

namespace {

using Common::Error;
using Common::ErrorCode;
using Common::FileIdentity;
using Common::LogLevel;
using Common::LogStream;

constexpr const char *capabilityAttribute = "security.capability";

using Inode = std::pair<dev_t, ino_t>;

/// An installed file that has several names.
struct FileNames {
    std::set<PathIdentity> listed; ///< Names that the package lists.
    std::size_t made = 0;          ///< Names that the staged tree has added.
    fs::path copy;                 ///< The place of the first copy.
};

/// The files of one package that have several names. Looked for when the first one is met: most packages have
/// none.
class LinkedFiles {
public:
    explicit LinkedFiles(const RpmPackage &package) : package_(package) {}

    /// Null for a file that has one name.
    FileNames *find(const struct stat &status) {
        if (status.st_nlink < 2)
            return nullptr;
        if (!areKnown_)
            lookForAll();
        const auto found = names_.find({status.st_dev, status.st_ino});
        return found == names_.end() ? nullptr : &found->second;
    }

private:
    void lookForAll() {
        PathFinder places;
        for (const RpmPackage::FileEntry &entry : package_.files()) {
            struct stat status = {};
            if (::lstat(entry.path.c_str(), &status) == 0 && S_ISREG(status.st_mode) && status.st_nlink > 1)
                names_[{status.st_dev, status.st_ino}].listed.insert(places.find(entry.path));
        }
        areKnown_ = true;
    }

    const RpmPackage &package_;
    std::map<Inode, FileNames> names_;
    bool areKnown_ = false;
};

/// The file at a path, held by a descriptor: the owner of its directory could exchange it for a link during
/// the copy.
class FoundFile {
public:
    /// Raises if the look fails: that is not absence.
    explicit FoundFile(const std::string &path) :
        file_(::open(path.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC)) {
        if (file_.get() >= 0 ? ::fstat(file_.get(), &status_) != 0 : !Common::isNotFound(errno))
            throw Error(ErrorCode::Filesystem, "Couldn't open " + path, errno);
        struct stat behind = {};
        // A copy would follow a link.
        isThere_ = isRegular() || ::stat(path.c_str(), &behind) == 0;
        if (!isThere_ && !Common::isNotFound(errno))
            throw Error(ErrorCode::Filesystem, "Couldn't look for " + path, errno);
    }

    bool isThere() const { return isThere_; }
    bool isRegular() const { return S_ISREG(status_.st_mode); }

    /// Of a link itself, not of its target.
    std::optional<FileIdentity> identity() const {
        return file_.get() >= 0 ? std::optional(Common::identityOf(status_)) : std::nullopt;
    }

    /// Hard-links it to `target`, or copies it there. Returns its new identity after a link.
    std::optional<FileIdentity> bring(const fs::path &target, LinkedFiles &linked) const {
        FileNames *names = linked.find(status_);
        if (isEqualToCopy(names ? names->listed.size() + names->made : 1))
            if (const auto made = linkTo(target)) {
                if (names)
                    ++names->made;
                return made;
            }
        if (names && !names->copy.empty()) {
            // Separate copies would take the space several times.
            Common::createHardlink(names->copy, target);
            touch();
            return std::nullopt;
        }
        Common::copyFile(reach(), target);
        touch();
        if (names)
            names->copy = target;
        return std::nullopt;
    }

    /// Sets the values that it has already. In an overlay that copies it to the upper layer, which gives it
    /// its final inode number.
    void touch() const {
        const std::string path = reach();
        // A failure shows later, at the exchange.
        if (isRegular())
            static_cast<void>(::chmod(path.c_str(), status_.st_mode & 07777));
        else if (S_ISLNK(status_.st_mode))
            static_cast<void>(::fchownat(file_.get(), "", status_.st_uid, status_.st_gid, AT_EMPTY_PATH) ==
                              0);
    }

private:
    std::string reach() const { return "/proc/self/fd/" + std::to_string(file_.get()); }

    /// A hard link outside of the package would go on leading to the store's file.
    bool isEqualToCopy(std::size_t ownNames) const {
        return status_.st_uid == ::geteuid() && status_.st_gid == ::getegid() &&
               (status_.st_mode & (S_ISUID | S_ISGID)) == 0 && status_.st_nlink == ownNames &&
               ::getxattr(reach().c_str(), capabilityAttribute, nullptr, 0) < 0 &&
               (errno == ENODATA || errno == ENOTSUP);
    }

    /// Some filesystems report a link, but have made a copy.
    std::optional<FileIdentity> linkTo(const fs::path &target) const {
        struct stat made = {};
        struct stat now = {};
        if (::linkat(AT_FDCWD, reach().c_str(), AT_FDCWD, target.c_str(), AT_SYMLINK_FOLLOW) != 0)
            return std::nullopt;
        if (::fstat(file_.get(), &now) == 0 && ::lstat(target.c_str(), &made) == 0 &&
            made.st_dev == now.st_dev && made.st_ino == now.st_ino)
            return Common::identityOf(made);
        Common::removeAll(target);
        return std::nullopt;
    }

    Common::FileDescriptor file_;
    struct stat status_ = {};
    bool isThere_ = false;
};

/// The identity of the file at a path before it was staged, none for a directory; and its identity now, if
/// the tree links rpm's file itself.
struct StagedFile {
    std::optional<FileIdentity> before;
    std::optional<FileIdentity> linked;
};

/// Makes the tree of one package, entry by entry.
class Stager {
public:
    Stager(const RpmPackage &package, const fs::path &staging, const fs::path &versionDirectory) :
        package_(package), staging_(staging), versionDirectory_(versionDirectory), linked_(package) {}

    /// The error names the installed file: failures are counted by it.
    StagedFile stage(const RpmPackage::FileEntry &entry) {
        try {
            if (!std::holds_alternative<Common::Rpm::Directory>(entry.kind))
                return bring(entry, FoundFile(entry.path));
            package_.extractDirectory(staging_, entry);
            return {};
        } catch (const std::exception &error) {
            throw CopyError(entry.path, error);
        }
    }

private:
    StagedFile bring(const RpmPackage::FileEntry &entry, const FoundFile &found) {
        StagedFile staged{found.identity(), {}};
        if (std::holds_alternative<Common::Rpm::Symlink>(entry.kind)) {
            package_.extractLink(staging_, versionDirectory_, entry);
            found.touch();
        } else if (!found.isThere()) {
            LogStream(LogLevel::Warning)
                << "Attempt to copy a non-existent file during package migration: " << fs::path(entry.path);
        } else {
            staged.linked = bringFile(entry, found);
        }
        return staged;
    }

    std::optional<FileIdentity> bringFile(const RpmPackage::FileEntry &entry, const FoundFile &found) {
        const fs::path target = staging_ / package_.packagePath(entry);
        std::optional<FileIdentity> linked;
        if (found.isRegular()) {
            makeParent(target);
            linked = found.bring(target, linked_);
        } else {
            Common::copy(entry.path, target);
            found.touch();
        }
        // Under each of its names: names of one file have the attribute together.
        if (entry.signable)
            Common::setExtendedAttribute(target, applicationIdAttribute, package_.id());
        return linked;
    }

    /// Once for the neighbours in it.
    void makeParent(const fs::path &target) {
        if (fs::path parent = target.parent_path(); parent != madeLast_) {
            fs::create_directories(parent);
            madeLast_ = std::move(parent);
        }
    }

    const RpmPackage &package_;
    const fs::path &staging_;
    const fs::path &versionDirectory_;
    LinkedFiles linked_;
    fs::path madeLast_;
};

/// The same content, by size and time. In an overlay the file may have another number by now.
bool isSameContent(const std::optional<FileIdentity> &before, const std::optional<FileIdentity> &now) {
    return before && now ? before->size == now->size && before->modified == now->modified
                         : before.has_value() == now.has_value();
}

Error changedFile(const std::string &path) {
    return {ErrorCode::Filesystem, path + " changed while it was copied"};
}

/// Directories by their paths, each before what lies in it.
class Directories {
public:
    JournalledDirectory &add(const fs::path &path) {
        const auto [found, isNew] = directories_.try_emplace(path.native());
        if (isNew)
            found->second = {path, false, isAbsent(path), false};
        return found->second;
    }

    /// Those above a target that the publication will have to make.
    void addParents(const fs::path &target) {
        for (fs::path parent = target.parent_path();
             !directories_.contains(parent.native()) && isAbsent(parent); parent = parent.parent_path())
            add(parent);
    }

    std::vector<JournalledDirectory> take() {
        std::vector<JournalledDirectory> all;
        for (auto &[path, directory] : directories_)
            all.push_back(std::move(directory));
        return all;
    }

private:
    static bool isAbsent(const fs::path &path) {
        return Common::reraiseAs(ErrorCode::Filesystem, "Couldn't look for " + path.string(),
                                 [&] { return !fs::exists(fs::symlink_status(path)); });
    }

    std::map<std::string, JournalledDirectory> directories_;
};

/// Later starts compare files with these notes: they must match the copied files.
void requireUnchanged(const JournalledFiles &files) {
    for (const JournalledFile file : files)
        if (Common::identityAt(file.path) != file.identity)
            throw changedFile(file.path);
}

} // namespace

void makeStagingDirectory(const fs::path &staging) {
    const std::string failure = "Couldn't create directory: " + staging.string();
    // mkdir itself tells: a failed look would find nothing.
    if (!Common::reraiseAs(ErrorCode::Filesystem, failure, [&] { return fs::create_directory(staging); }))
        throw Error(ErrorCode::Filesystem, failure + " (path already exists)");
}

void stageInstalledPackage(const InstalledApplication &application, const fs::path &versionDirectory,
                           JournalEntry &entry) {
    const RpmPackage &package = application.package;
    Stager stager(package, entry.path, versionDirectory);
    entry.files = {};
    for (std::size_t i = 0; i < package.files().size(); ++i) {
        const RpmPackage::FileEntry &file = package.files()[i];
        const StagedFile staged = stager.stage(file);
        // The journal does not cover files that rpm never installed or would leave.
        if (!application.isErased[i])
            continue;
        const auto now = staged.linked ? staged.linked : Common::identityAt(file.path);
        if (!isSameContent(staged.before, now))
            throw changedFile(file.path);
        entry.files.push_back({file.path, now, staged.linked.has_value()});
    }
    requireUnchanged(entry.files);
}

void listContents(const Common::Rpm::Transaction &rpm, JournalEntry &entry) {
    constexpr std::int64_t nanoseconds = 1'000'000'000;
    const auto mappings = mappingsOf(entry, Rooted::No);
    const Common::TextIndex staged(entry.files.size(),
                                   [&](std::size_t number) { return entry.files[number].path; });
    const auto isAsPacked = [&](const std::string &path, std::uint64_t size, std::uint32_t modified) {
        const auto number = staged.find(path);
        const auto found = number ? entry.files[*number].identity : std::nullopt;
        return found && found->size == size && found->modified / nanoseconds == modified;
    };
    const auto list = [&](const Common::Rpm::Reader &record) {
        listStagedContents(entry.path, mappings, record, isAsPacked);
    };
    if (rpm.lookUp(entry.instance, list) != Common::Rpm::Transaction::Record::There)
        throw Error(ErrorCode::Internal, "Couldn't read the rpm record of " + entry.id);
    entry.hasContentsList = true;
}

void noteTargets(const RpmPackage &package, const fs::path &current, JournalEntry &entry) {
    const auto mappings = mappingsOf(entry, Rooted::Yes);
    PathFinder places;
    const auto pathOf = [&](std::size_t number) {
        const JournalledFile file = entry.files[number];
        return file.identity ? std::optional(file.path) : std::nullopt;
    };
    const PathIndex files(places, entry.files.size(), pathOf);
    Directories directories;
    entry.targets = {};
    const auto noteFile = [&](const PlannedFile &file) {
        entry.targets.push_back({file.target, file.source.substr(current.native().size() + 1),
                                 files.find(places.find(file.target))});
        directories.addParents(file.target);
    };
    const auto noteDirectory = [&](const fs::path &directory) {
        directories.add(directory).isGenerated = true;
    };
    walkPublication(entry.path, current, mappings, DanglingLinks::Count, noteFile, noteDirectory);
    for (const RpmPackage::FileEntry &file : package.files())
        if (std::holds_alternative<Common::Rpm::Directory>(file.kind))
            directories.add(file.path).isRecorded = true;
    entry.directories = directories.take();
    entry.files.shrinkToFit();
    entry.targets.shrinkToFit();
}

} // namespace Core::KELP
