#include "kelp/core/kelp/take-over/rpm-staging.h"

#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/errors/log-stream.h"
#include "kelp/core/common/errors/reraise-as.h"
#include "kelp/core/common/files/copy.h"
#include "kelp/core/common/files/extended-attributes.h"
#include "kelp/core/common/files/file-descriptor.h"
#include "kelp/core/common/files/filesystem.h"
#include "kelp/core/common/files/path-tests.h"
#include "kelp/core/kelp/take-over/copy-failures.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <map>

namespace fs = std::filesystem;

namespace Core::KELP {

namespace {

using Common::Error;
using Common::ErrorCode;
using Common::LogLevel;
using Common::LogStream;

constexpr const char *applicationIdAttribute = "security.appid";

/// Where the installed files that have several names were staged, by device and inode.
using StagedInodes = std::map<std::pair<dev_t, ino_t>, fs::path>;

/// Whatever stands at a path, held by a descriptor: its directory may be somebody's who puts a link to
/// another file there while it is copied.
class FoundFile {
public:
    /// Raises for what cannot be looked at: it is not absent.
    explicit FoundFile(const std::string &path) :
        file_(::open(path.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC)) {
        if (file_.get() >= 0 ? ::fstat(file_.get(), &status_) != 0 : !isAbsence(errno))
            throw Error(ErrorCode::Filesystem, "Couldn't open " + path, errno);
        struct stat behind = {};
        // What a link leads to is what would be copied.
        isThere_ = isRegular() || ::stat(path.c_str(), &behind) == 0;
        if (!isThere_ && !isAbsence(errno))
            throw Error(ErrorCode::Filesystem, "Couldn't look for " + path, errno);
    }

    bool isThere() const { return isThere_; }
    bool isRegular() const { return S_ISREG(status_.st_mode); }

    /// Copies it, or links it to the place of another of its names: copied each, they would take its space
    /// several times.
    void copyOrLink(const fs::path &target, StagedInodes &staged) const {
        fs::path *first = status_.st_nlink < 2 ? nullptr : &staged[{status_.st_dev, status_.st_ino}];
        if (first && !first->empty()) {
            Common::createHardlink(*first, target);
            return;
        }
        Common::copyFile("/proc/self/fd/" + std::to_string(file_.get()), target);
        if (first)
            *first = target;
    }

private:
    static bool isAbsence(int error) { return error == ENOENT || error == ENOTDIR; }

    Common::FileDescriptor file_;
    struct stat status_ = {};
    bool isThere_ = false;
};

void copyInstalledFile(const RpmPackage &package, const RpmPackage::FileEntry &entry, const fs::path &staging,
                       StagedInodes &staged) {
    const FoundFile found(entry.path);
    if (!found.isThere()) {
        LogStream(LogLevel::Warning) << "Attempt to copy a non-existent file during package migration: "
                                     << fs::path(entry.path);
        return;
    }
    const fs::path target = staging / package.packagePath(entry);
    if (found.isRegular())
        found.copyOrLink(target, staged);
    else
        Common::copy(entry.path, target);
    // Under each of its names: names of one file have the attribute together.
    if (entry.signable)
        Common::setExtendedAttribute(target, applicationIdAttribute, package.id());
}

void stageEntry(const RpmPackage &package, const RpmPackage::FileEntry &entry, const fs::path &staging,
                const fs::path &versionDirectory, StagedInodes &staged) {
    if (std::holds_alternative<Common::Rpm::Directory>(entry.kind))
        package.extractDirectory(staging, entry);
    else if (std::holds_alternative<Common::Rpm::Symlink>(entry.kind))
        package.extractLink(staging, versionDirectory, entry);
    else
        copyInstalledFile(package, entry, staging, staged);
}

/// A later start compares with what was noted; it must be what was copied.
void requireUnchanged(const std::vector<JournalledFile> &files) {
    for (const JournalledFile &file : files)
        if (Common::identityAt(file.path) != file.identity)
            throw Error(ErrorCode::Filesystem, file.path + " changed while it was copied");
}

} // namespace

void makeStagingDirectory(const fs::path &staging) {
    const std::string failure = "Couldn't create directory: " + staging.string();
    // By the making itself: a look that fails would find nothing.
    if (!Common::reraiseAs(ErrorCode::Filesystem, failure, [&] { return fs::create_directory(staging); }))
        throw Error(ErrorCode::Filesystem, failure + " (path already exists)");
}

void stageInstalledPackage(const RpmPackage &package, const fs::path &versionDirectory, JournalEntry &entry) {
    for (JournalledFile &file : entry.files)
        file.identity = Common::identityAt(file.path);
    StagedInodes staged;
    for (const RpmPackage::FileEntry &file : package.files()) {
        try {
            stageEntry(package, file, entry.path, versionDirectory, staged);
        } catch (const std::exception &error) {
            throw CopyError(file.path, error);
        }
    }
    requireUnchanged(entry.files);
}

} // namespace Core::KELP
