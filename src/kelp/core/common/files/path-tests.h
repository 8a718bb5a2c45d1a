#pragma once

#include <filesystem>

namespace Common {

// exists() to isSocket() test existence and type. They follow links, so a dangling link does not exist;
// isSymlink() alone looks at the link itself. These five never raise. If the look fails, for example below a
// directory that may not be searched, they log the error and return false.

bool exists(const std::filesystem::path &path);
bool isDirectory(const std::filesystem::path &path);
bool isRegularFile(const std::filesystem::path &path);
bool isSymlink(const std::filesystem::path &path);
bool isSocket(const std::filesystem::path &path);

/// Whether anything is there, a dangling link too. A failed look is not logged, and gives false.
bool isThere(const std::filesystem::path &path);

/// The same for callers that rely on "no". Raises ErrorCode::Filesystem "Couldn't look for PATH" when the
/// look fails.
bool lookFor(const std::filesystem::path &path);

/// The same through links, as exists() looks. Raises likewise.
bool lookThrough(const std::filesystem::path &path);

/// Whether a link is there that leads nowhere: the disk to which it leads may not be mounted. Raises as
/// lookFor() does.
bool leadsNowhere(const std::filesystem::path &path);

/// Whether a pipe is there, perhaps through links: to open it for reading would wait for its writer. A failed
/// look is not logged, and gives false.
bool isPipe(const std::filesystem::path &path);

/// Whether an errno of a look at a path says that the entry, or a directory on the way to it, does not exist.
bool isNotFound(int error);

/// Whether it proves that nothing can be reached by the path: also for a loop of links or too long a name.
bool provesAbsence(int error);

/// Whether a directory holds nothing. Raises ErrorCode::Filesystem when `path` is no directory; a directory
/// that cannot be read is logged and counts as not empty.
bool isEmptyDirectory(const std::filesystem::path &path);

/// Whether `path` is a regular file with at least one of the permission bits of `mask`. Raises
/// ErrorCode::Filesystem when the status cannot be read.
bool hasPermissions(const std::filesystem::path &path, std::filesystem::perms mask);

/// Raises ErrorCode::UnauthorizedAccess "Only root can read PATH" for a file or directory that exists, or may
/// exist, and that this process may not read. Otherwise a look at it would find it empty.
void requireReadable(const std::filesystem::path &path);

} // namespace Common
