#include "kelp/core/common/files/path-tests.h"

#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/errors/log-stream.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace fs = std::filesystem;

namespace Common {

namespace {

/// A failed look counts as "no" here. Callers that must not take it for absence use lookFor().
template<class Test>
bool logged(const Test &test) {
    try {
        return test();
    } catch (const std::exception &error) {
        LogStream(LogLevel::Error) << error;
        return false;
    }
}

bool isFound(const fs::path &path, fs::file_type type, const std::error_code &error) {
    if (type == fs::file_type::none && !provesAbsence(error.value()))
        throw Error(ErrorCode::Filesystem, "Couldn't look for " + path.string(), error.value());
    return type != fs::file_type::none && type != fs::file_type::not_found;
}

} // namespace

bool exists(const fs::path &path) {
    return logged([&] {
        const fs::file_type type = fs::status(path).type();
        return type != fs::file_type::not_found && type != fs::file_type::none;
    });
}

bool isThere(const fs::path &path) {
    std::error_code ignored;
    return fs::exists(fs::symlink_status(path, ignored));
}

bool lookFor(const fs::path &path) {
    std::error_code error;
    return isFound(path, fs::symlink_status(path, error).type(), error);
}

bool lookThrough(const fs::path &path) {
    std::error_code error;
    return isFound(path, fs::status(path, error).type(), error);
}

bool leadsNowhere(const fs::path &path) {
    return !lookThrough(path) && lookFor(path);
}

bool isPipe(const fs::path &path) {
    std::error_code ignored;
    return fs::is_fifo(path, ignored);
}

bool isNotFound(int error) {
    return error == ENOENT || error == ENOTDIR;
}

bool provesAbsence(int error) {
    return isNotFound(error) || error == ELOOP || error == ENAMETOOLONG;
}

bool isDirectory(const fs::path &path) {
    return logged([&] { return fs::status(path).type() == fs::file_type::directory; });
}

bool isRegularFile(const fs::path &path) {
    return logged([&] { return fs::status(path).type() == fs::file_type::regular; });
}

bool isSymlink(const fs::path &path) {
    return logged([&] { return fs::symlink_status(path).type() == fs::file_type::symlink; });
}

bool isSocket(const fs::path &path) {
    return logged([&] { return fs::status(path).type() == fs::file_type::socket; });
}

bool isEmptyDirectory(const fs::path &path) {
    if (!isDirectory(path))
        throw Error(ErrorCode::Filesystem,
                    "Attempt to check if the path is an empty directory, but the path is not a directory");
    // "No" is the safe answer: a caller may remove a directory that counts as empty.
    return logged([&] { return fs::is_empty(path); });
}

bool hasPermissions(const fs::path &path, fs::perms mask) {
    try {
        const fs::file_status status = fs::status(path);
        return status.type() == fs::file_type::regular && (status.permissions() & mask) != fs::perms::none;
    } catch (const std::exception &error) {
        LogStream(LogLevel::Error) << error;
        throw Error(ErrorCode::Filesystem, "Couldn't get permissions for: " + path.string());
    }
}

void requireReadable(const fs::path &path) {
    // As the effective user, who will read. The reader reports absence and other failures itself.
    if (::faccessat(AT_FDCWD, path.c_str(), R_OK, AT_EACCESS) != 0 && errno == EACCES)
        throw Error(ErrorCode::UnauthorizedAccess, "Only root can read " + path.string());
}

} // namespace Common
