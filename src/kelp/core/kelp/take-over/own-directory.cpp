#include "kelp/core/kelp/take-over/own-directory.h"

#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/files/durable-file.h"
#include "kelp/core/common/files/filesystem.h"
#include "kelp/core/common/files/path-tests.h"
#include "kelp/core/common/i-configuration.h"
#include "kelp/core/common/places.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <csignal>
#include <string_view>

namespace fs = std::filesystem;

namespace Core::KELP {

namespace {

constexpr const char *dryRunMark = ".dry-run.";

bool isEmpty(const fs::path &directory) {
    std::error_code error;
    return fs::is_directory(directory, error) && fs::is_empty(directory, error) && !error;
}

/// Whether only this process's user can put files there: a link, or a user's directory, is somebody's place
/// for files to come.
bool isForUsAlone(const struct stat &status) {
    return S_ISDIR(status.st_mode) && status.st_uid == ::geteuid() && (status.st_mode & S_IWOTH) == 0 &&
           ((status.st_mode & S_IWGRP) == 0 || status.st_gid == ::getegid());
}

} // namespace

fs::path plainPath(const fs::path &path) {
    const fs::path normal = fs::absolute(path).lexically_normal();
    return normal.has_filename() ? normal : normal.parent_path();
}

OwnDirectory::OwnDirectory(fs::path path, std::string purpose, const char *defaultName) :
    path_(std::move(path)),
    purpose_(std::move(purpose)),
    defaultPlace_(Common::rootPath() / "opt/kelp" / defaultName) {}

OwnDirectory OwnDirectory::temporary(const IConfiguration &configuration) {
    return {configuration.tempDirectory(), "temporary", "tmp"};
}

OwnDirectory OwnDirectory::installing(const IConfiguration &configuration) {
    return {plainPath(configuration.tempDirectory()).parent_path() / "install", "unpacking", "install"};
}

OwnDirectory OwnDirectory::rescued(const IConfiguration &configuration) {
    return {plainPath(configuration.tempDirectory()).parent_path() / "rescued", "rescue", "rescued"};
}

bool OwnDirectory::isMarked() const {
    std::error_code ignored;
    return Common::lookFor(path_ / markName) &&
           fs::is_regular_file(fs::symlink_status(path_ / markName, ignored));
}

bool OwnDirectory::isAtDefaultPlace() const {
    return plainPath(path_) == plainPath(defaultPlace_);
}

bool OwnDirectory::isOwn() const {
    struct stat status = {};
    if (::lstat(plainPath(path_).c_str(), &status) != 0) {
        if (!Common::provesAbsence(errno))
            throw Common::Error(Common::ErrorCode::Filesystem, "Couldn't look for " + path_.string(), errno);
        return errno == ENOENT;
    }
    return (isAtDefaultPlace() && S_ISDIR(status.st_mode)) || isMarked() ||
           (isForUsAlone(status) && isEmpty(path_));
}

void OwnDirectory::require() const {
    if (!isOwn())
        throw Common::Error(Common::ErrorCode::Filesystem,
                            "The " + purpose_ +
                                " directory is not the package manager's own: " + path_.string());
    Common::createDirectories(path_);
    // After a kill before the mark the next start finds an empty directory again. With the mark it may be
    // moved to another disk, and a link put in its place.
    if (isEmpty(path_))
        Common::writeDurably(path_ / markName, "");
}

std::string dryRunName(const std::string &id) {
    return id + dryRunMark + std::to_string(::getpid());
}

std::string idOfUnpacked(const std::string &name) {
    return name.substr(0, name.rfind(dryRunMark));
}

bool isOfRunningDryRun(const std::string &name) {
    const std::size_t mark = name.rfind(dryRunMark);
    if (mark == std::string::npos)
        return false;
    const std::string_view digits = std::string_view(name).substr(mark + std::string_view(dryRunMark).size());
    pid_t process = 0;
    const auto read = std::from_chars(digits.begin(), digits.end(), process);
    return read.ptr == digits.end() && process > 0 && (::kill(process, 0) == 0 || errno == EPERM);
}

} // namespace Core::KELP
