#include "kelp/core/common/files/copy.h"

#include "kelp/core/common/errors/reraise-as.h"
#include "kelp/core/common/files/directory.h"
#include "kelp/core/common/files/extended-attributes.h"
#include "kelp/core/common/files/filesystem.h"
#include "kelp/core/common/files/path-tests.h"

namespace fs = std::filesystem;

namespace Common {

namespace {

Error copyError(const std::string &words, const fs::path &from, const fs::path &to,
                const std::string &reason = {}) {
    return {ErrorCode::Filesystem, words + from.string() + " to " + to.string() + reason};
}

/// Runs `fill`, which fills `made`. Whatever it throws is thrown again after `made` has been removed.
template<class Fill>
void orCleanup(const char *kind, const fs::path &made, const Fill &fill) {
    try {
        fill();
    } catch (...) {
        try {
            removeAll(made);
        } catch (const Error &) {
            LogStream(LogLevel::Warning) << "Couldn't cleanup bad copied " << kind << ": " << made;
        }
        // The caller hears of the failure that came first.
        throw;
    }
}

/// Where a copy is made, and what it is called in texts.
/// They differ where it is reached by an open directory, whose path by /proc tells nobody anything.
struct Place {
    fs::path path;
    fs::path name;
};

/// PackageOutline foretells by the same rule what becomes of a link: who changes one changes both.
bool pointsBesideItself(const std::string &target) {
    return !target.empty() && target.front() != '.' && target.front() != '/';
}

bool recreateLink(const std::string &target, const fs::path &from, const Place &to) {
    try {
        fs::create_directories(to.path.parent_path());
        fs::create_symlink(target, to.path);
        return true;
    } catch (const std::exception &) {
        // Misspelt, as the texts below are: whoever searches a log searches for these words.
        LogStream(LogLevel::Warning) << "Coulnd't copy symlink " << from << " to " << to.name;
        return false;
    }
}

void requireFreePlace(const fs::path &from, const Place &to) {
    if (!Common::exists(from))
        throw copyError("Couldn't copy ", from, to.name, " (path " + from.string() + " doesn't exists)");
    if (Common::exists(to.path))
        throw copyError("Couldn't copy ", from, to.name, " (path already exists)");
}

void copyFileTo(const fs::path &from, const Place &to) {
    if (!isRegularFile(from))
        throw Error(ErrorCode::Filesystem,
                    "Attempt to copy file, but " + from.string() + " is not regular file");
    reraiseAs(
        ErrorCode::Filesystem, "Coulnd't copy file " + from.string() + " to " + to.name.string(),
        [&] {
            fs::create_directories(to.path.parent_path());
            copyContent(from, to.path);
        },
        LogLevel::Warning);
    // A copy without its attributes would pass for a file that never had a signature.
    orCleanup("file", to.path, [&] {
        for (const auto &[name, value] : extendedAttributes(from))
            setExtendedAttribute(to.path, name, value);
    });
}

/// Copies a link as a link, or has `copyTarget` copy what it names.
template<class CopyTarget>
void copySymlinkOr(const fs::path &from, const Place &to, const CopyTarget &copyTarget) {
    const std::string target = readSymlink(from).string();
    if (pointsBesideItself(target)) {
        if (recreateLink(target, from, to))
            return;
    } else {
        LogStream(LogLevel::Warning) << "Symlink target is not in the same directory: " << from << " -> "
                                     << to.name;
    }
    LogStream(LogLevel::Info) << "Trying to copy content of the symlink target";
    // As it stands. Links of a stored version that come here are absolute (resolveLink()); a relative text of
    // the system's counts from the working directory.
    copyTarget(target);
}

} // namespace

void copy(const fs::path &from, const fs::path &to) {
    requireFreePlace(from, {to, to});
    if (isSymlink(from))
        copySymlink(from, to);
    else if (isRegularFile(from))
        copyFile(from, to);
    else if (isDirectory(from))
        copyDirectory(from, to);
    else
        throw Error(ErrorCode::Filesystem, "Couldn't copy unsupported filesystem entry " + from.string());
}

void copyInOneStep(const fs::path &from, const Directory &directory, const std::string &name,
                   const std::function<void(const fs::path &)> &finish) {
    const Place to{directory.reach(name), directory.path() / name};
    requireFreePlace(from, to);
    const auto copyFileInOneStep = [&](const fs::path &file) {
        const Place unfinished{directory.reach(unfinishedCopyName), to.name};
        // Left by a kill: two copies are never made at once, as whoever publishes has the store to itself.
        directory.removeFile(unfinishedCopyName);
        orCleanup("file", unfinished.path, [&] {
            copyFileTo(file, unfinished);
            finish(unfinished.path);
            // Something may have come to the target since it was looked for; it stays.
            if (!directory.move(unfinishedCopyName, directory, name))
                throw copyError("Couldn't copy ", from, to.name, " (path already exists)");
        });
    };
    if (isSymlink(from))
        copySymlinkOr(from, to, copyFileInOneStep);
    else
        copyFileInOneStep(from);
}

void copyFile(const fs::path &from, const fs::path &to) {
    copyFileTo(from, {to, to});
}

void copySymlink(const fs::path &from, const fs::path &to) {
    if (!isSymlink(from))
        throw Error(ErrorCode::Filesystem,
                    "Attempt to copy symlink, but " + from.string() + " is not symlink");
    copySymlinkOr(from, {to, to}, [&](const fs::path &target) { copyFile(target, to); });
}

void copyDirectory(const fs::path &from, const fs::path &to) {
    if (!isDirectory(from))
        throw Error(ErrorCode::Filesystem,
                    "Attempt to copy directory, but " + from.string() + " is not directory");
    try {
        fs::create_directories(to);
    } catch (const std::exception &) {
        throw copyError("Coulnd't copy directory ", from, to);
    }
    // What a failure leaves of a tree would pass for the whole of it.
    orCleanup("directory", to, [&] {
        for (const fs::path &entry : listDirectory(from))
            Common::copy(entry, to / entry.filename());
    });
}

} // namespace Common
