#include "kelp/core/kelp/installing/kept-entries.h"

#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/errors/reraise-as.h"
#include "kelp/core/common/files/copy.h"
#include "kelp/core/common/files/file-descriptor.h"
#include "kelp/core/common/files/filesystem.h"
#include "kelp/core/kelp/package/contents-list.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <optional>

namespace fs = std::filesystem;

namespace Core::KELP {

namespace {

using Common::Error;
using Common::ErrorCode;

struct stat statusOf(const fs::path &path) {
    struct stat status = {};
    if (::lstat(path.c_str(), &status) != 0)
        throw Error(ErrorCode::Filesystem, "Couldn't look at " + path.string(), errno);
    return status;
}

std::pair<dev_t, ino_t> identityOf(const struct stat &status) {
    return {status.st_dev, status.st_ino};
}

} // namespace

void KeptEntries::carryOver() {
    completeNames();
    for (const std::string &path : paths_)
        bring(path);
}

/// A changed file and an unchanged hard link of it would become two files. Where they are two files by now,
/// as after an editor, the other one may be damaged, and comes from the package.
void KeptEntries::completeNames() {
    std::set<std::pair<dev_t, ino_t>> kept;
    const std::vector<ContentsEntry> entries = contentsOfTree(repaired_);
    const auto isKept = [&](const fs::path &tree, const std::string &path) {
        return fs::exists(fs::symlink_status(tree / path)) &&
               kept.contains(identityOf(statusOf(tree / path)));
    };
    for (const ContentsEntry &entry : entries)
        if (entry.type == ContentsEntry::Type::File && paths_.contains(entry.path))
            for (const fs::path &tree : {installed_, repaired_})
                kept.insert(identityOf(statusOf(tree / entry.path)));
    for (const ContentsEntry &entry : entries)
        if (entry.type == ContentsEntry::Type::File && isKept(repaired_, entry.path) &&
            isKept(installed_, entry.path))
            paths_.insert(entry.path);
}

void KeptEntries::bring(const std::string &path) {
    constexpr mode_t keptModeBits = 0777;
    const fs::path from = installed_ / path;
    const fs::path to = repaired_ / path;
    const struct stat status = statusOf(from);
    requireDirectoryAbove(path);
    if (S_ISDIR(status.st_mode)) {
        Common::createDirectories(to);
    } else {
        Common::removeAll(to);
        const auto other = brought_.find(identityOf(status));
        if (other != brought_.end())
            return Common::createHardlink(other->second, to);
        if (S_ISLNK(status.st_mode))
            // Copies the text: a relative link counts from its new place.
            Common::reraiseAs(ErrorCode::Filesystem, "Couldn't copy " + from.string(),
                              [&] { fs::copy_symlink(from, to); });
        else if (S_ISREG(status.st_mode))
            Common::copyFile(from, to);
        else
            return;
        brought_.emplace(identityOf(status), to);
    }
    if (::lchown(to.c_str(), status.st_uid, status.st_gid) != 0)
        throw Error(ErrorCode::Filesystem, "Couldn't change the owner of " + to.string(), errno);
    if (!S_ISLNK(status.st_mode))
        Common::setPermissions(to, fs::perms(status.st_mode & keptModeBits));
}

/// A packaged link in place of a directory could lead into the installed version.
void KeptEntries::requireDirectoryAbove(const std::string &path) const {
    const fs::path above = fs::path(path).parent_path();
    const Common::FileDescriptor tree(::open(repaired_.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    const Common::FileDescriptor found(
        Common::openBeneath(tree.get(), above.empty() ? "." : above, O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (found.get() < 0)
        throw Error(ErrorCode::Filesystem, "No place for " + path + " in the repaired version", errno);
}

} // namespace Core::KELP
