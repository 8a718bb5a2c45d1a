#include "kelp/core/common/copy.h"

#include "kelp/core/common/extended-attributes.h"
#include "kelp/core/common/file-content.h"
#include "kelp/core/common/filesystem.h"
#include "kelp/core/common/or-raise.h"
#include "kelp/core/common/path-tests.h"

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
        throw;
    }
}

bool pointsBesideItself(const std::string &target) {
    return !target.empty() && target.front() != '.' && target.front() != '/';
}

bool recreateLink(const std::string &target, const fs::path &from, const fs::path &to) {
    try {
        fs::create_directories(to.parent_path());
        fs::create_symlink(target, to);
        return true;
    } catch (const std::exception &) {
        LogStream(LogLevel::Warning) << "Coulnd't copy symlink " << from << " to " << to;
        return false;
    }
}

void requireFreePlace(const fs::path &from, const fs::path &to) {
    if (!Common::exists(from))
        throw copyError("Couldn't copy ", from, to, " (path " + from.string() + " doesn't exists)");
    if (Common::exists(to))
        throw copyError("Couldn't copy ", from, to, " (path already exists)");
}

/// Copies a file to `made`; the texts of the errors name `reported`.
void copyFileAs(const fs::path &reported, const fs::path &from, const fs::path &made) {
    if (!isRegularFile(from))
        throw Error(ErrorCode::Filesystem,
                    "Attempt to copy file, but " + from.string() + " is not regular file");
    orRaise(
        ErrorCode::Filesystem, "Coulnd't copy file " + from.string() + " to " + reported.string(),
        [&] {
            fs::create_directories(made.parent_path());
            Common::copyContent(from, made);
        },
        LogLevel::Warning);
    orCleanup("file", made, [&] {
        for (const auto &[name, value] : extendedAttributes(from))
            setExtendedAttribute(made, name, value);
    });
}

/// Copies a link as a link, or has `copyTarget` copy what it names.
template<class CopyTarget>
void copySymlinkOr(const fs::path &from, const fs::path &to, const CopyTarget &copyTarget) {
    const std::string target = readSymlink(from).string();
    if (pointsBesideItself(target)) {
        if (recreateLink(target, from, to))
            return;
    } else {
        LogStream(LogLevel::Warning) << "Symlink target is not in the same directory: " << from << " -> "
                                     << to;
    }
    LogStream(LogLevel::Info) << "Trying to copy content of the symlink target";
    copyTarget(target);
}

} // namespace

void copy(const fs::path &from, const fs::path &to) {
    requireFreePlace(from, to);
    if (isSymlink(from))
        copySymlink(from, to);
    else if (isRegularFile(from))
        copyFile(from, to);
    else if (isDirectory(from))
        copyDirectory(from, to);
    else
        throw Error(ErrorCode::Filesystem, "Couldn't copy unsupported filesystem entry " + from.string());
}

void copyInOneStep(const fs::path &from, const fs::path &to,
                   const std::function<void(const fs::path &)> &finish) {
    requireFreePlace(from, to);
    const auto copyFileInOneStep = [&](const fs::path &file) {
        const fs::path unfinished = to.parent_path() / unfinishedCopyName;
        std::error_code ignored;
        fs::remove(unfinished, ignored);
        copyFileAs(to, file, unfinished);
        orCleanup("file", unfinished, [&] {
            finish(unfinished);
            moveToFreeName(unfinished, to);
        });
    };
    if (isSymlink(from))
        copySymlinkOr(from, to, copyFileInOneStep);
    else
        copyFileInOneStep(from);
}

void copyFile(const fs::path &from, const fs::path &to) {
    copyFileAs(to, from, to);
}

void copySymlink(const fs::path &from, const fs::path &to) {
    if (!isSymlink(from))
        throw Error(ErrorCode::Filesystem,
                    "Attempt to copy symlink, but " + from.string() + " is not symlink");
    copySymlinkOr(from, to, [&](const fs::path &target) { copyFile(target, to); });
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
    orCleanup("directory", to, [&] {
        for (const fs::path &entry : listDirectory(from))
            Common::copy(entry, to / entry.filename());
    });
}

} // namespace Common
