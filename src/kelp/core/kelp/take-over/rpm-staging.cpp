#include "kelp/core/kelp/take-over/rpm-staging.h"

#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/errors/log-stream.h"
#include "kelp/core/common/files/copy.h"
#include "kelp/core/common/files/extended-attributes.h"
#include "kelp/core/common/files/file-descriptor.h"
#include "kelp/core/common/files/filesystem.h"
#include "kelp/core/common/files/path-tests.h"

#include <fcntl.h>
#include <sys/stat.h>

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

/// The place in `staged` of a file with several names; null for a file that has one.
fs::path *placeOfInode(const fs::path &path, StagedInodes &staged) {
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode) || status.st_nlink < 2)
        return nullptr;
    return &staged[{status.st_dev, status.st_ino}];
}

/// By a descriptor of the file itself: its directory may be somebody's who puts a link to another file there
/// while it is copied.
void copyAsFound(const fs::path &source, const fs::path &target) {
    const Common::FileDescriptor file(::open(source.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
    struct stat status = {};
    if (file.get() >= 0 && ::fstat(file.get(), &status) == 0 && S_ISREG(status.st_mode))
        Common::copyFile("/proc/self/fd/" + std::to_string(file.get()), target);
    else
        Common::copy(source, target);
}

/// The names of one file stay names of one file: copied each, they would take its space several times.
void copyOrLink(const fs::path &source, const fs::path &target, StagedInodes &staged) {
    fs::path *first = placeOfInode(source, staged);
    if (first && !first->empty()) {
        Common::createHardlink(*first, target);
        return;
    }
    copyAsFound(source, target);
    if (first)
        *first = target;
}

void copyInstalledFile(const RpmPackage &package, const RpmPackage::FileEntry &entry, const fs::path &staging,
                       StagedInodes &staged) {
    if (!Common::exists(entry.path)) {
        LogStream(LogLevel::Warning) << "Attempt to copy a non-existent file during package migration: "
                                     << entry.path;
        return;
    }
    const fs::path target = staging / package.packagePath(entry);
    copyOrLink(entry.path, target, staged);
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

/// Two packages of one name must not share a staging directory: the second would spoil the copies of the
/// first, which is about to be erased.
void makeStagingDirectory(const fs::path &staging) {
    if (Common::exists(staging))
        throw Error(ErrorCode::Filesystem,
                    "Couldn't create directory: " + staging.string() + " (path already exists)");
    Common::createDirectories(staging);
}

/// A later start compares with what was noted; it must be what was copied.
void requireUnchanged(const std::vector<JournalledFile> &files) {
    for (const JournalledFile &file : files)
        if (Common::identityAt(file.path) != file.identity)
            throw Error(ErrorCode::Filesystem, file.path + " changed while it was copied");
}

} // namespace

void stageInstalledPackage(const RpmPackage &package, const fs::path &versionDirectory, JournalEntry &entry) {
    for (JournalledFile &file : entry.files)
        file.identity = Common::identityAt(file.path);
    makeStagingDirectory(entry.path);
    StagedInodes staged;
    for (const RpmPackage::FileEntry &file : package.files())
        stageEntry(package, file, entry.path, versionDirectory, staged);
    requireUnchanged(entry.files);
}

} // namespace Core::KELP
