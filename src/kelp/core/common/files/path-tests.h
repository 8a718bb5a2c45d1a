#pragma once

#include <filesystem>

namespace Common {

// Tests of existence and type. They follow links, except isSymlink, so that a dangling link does not exist.
// None of them raises: when the system's answer is an error, as for a path in a directory that may not be
// searched, its text is logged at error level and the answer is false.

bool exists(const std::filesystem::path &path);
bool isDirectory(const std::filesystem::path &path);
bool isRegularFile(const std::filesystem::path &path);
bool isSymlink(const std::filesystem::path &path);
bool isSocket(const std::filesystem::path &path);

/// Whether anything is there, a dangling link too. Where the system's answer is an error, that is not logged,
/// and the answer is false.
bool isThere(const std::filesystem::path &path);

/// Whether anything is there, a dangling link too: for whoever concludes something from "no". Raises
/// ErrorCode::Filesystem "Couldn't look for PATH" where the system's answer proves nothing.
bool lookFor(const std::filesystem::path &path);

/// Whether an errno of a look at a path proves that nothing can be reached by it.
bool provesAbsence(int error);

/// Whether a directory holds nothing. Raises ErrorCode::Filesystem when `path` is no directory; a directory
/// that cannot be read is logged and counts as not empty.
bool isEmptyDirectory(const std::filesystem::path &path);

/// Whether `path` is a regular file with at least one of the permission bits of `mask`. Raises
/// ErrorCode::Filesystem when the status cannot be read.
bool hasPermissions(const std::filesystem::path &path, std::filesystem::perms mask);

/// Raises ErrorCode::UnauthorizedAccess "Only root can read PATH" for a file or directory that exists, or may
/// exist, and that this process may not read. For a look at a place that would otherwise be taken for empty.
void requireReadable(const std::filesystem::path &path);

} // namespace Common
