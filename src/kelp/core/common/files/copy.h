#pragma once

#include <filesystem>
#include <functional>
#include <string>

namespace Common {

class Directory;

// A copied file has the content and permission bits of the original, and, except after copyContent(), its
// non-empty extended attributes, but not its owner and times; for set-id bits see copyContent(). No function
// overwrites a file; copyDirectory() fills a directory that exists. All except copyContent() raise
// ErrorCode::Filesystem. On failure, parents that were made stay. copyDirectory() and copyInOneStep() remove
// all else that they made. The others leave a file incomplete when its content cannot be copied, and remove
// it when its attributes cannot.

/// Copies a link as copySymlink does, a directory, or a regular file. Raises when `from` does not exist (a
/// dangling link does not), when `to` exists, and for any other kind of entry.
void copy(const std::filesystem::path &from, const std::filesystem::path &to);

/// The name that a copy has in its directory while copyInOneStep() makes it.
inline constexpr const char *unfinishedCopyName = ".kelp-unfinished-copy";

/// Copies a regular file or a link to the entry `name` of `directory`, by the rules of copy(). It completes
/// the copy under unfinishedCopyName, calls `finish` with that path, and then renames the copy to `name`. A
/// kill leaves the complete copy or none, and at worst an unfinished one, which the next copy into that
/// directory replaces. For a link that is copied as a link, `finish` is not called. Raises as copy(),
/// Directory's operations and `finish` do; a directory is refused.
void copyInOneStep(const std::filesystem::path &from, const Directory &directory, const std::string &name,
                   const std::function<void(const std::filesystem::path &)> &finish);

/// Copies a regular file, or the regular file that a link leads to; makes the parents of `to`. When
/// attributes cannot be carried over, `to` is removed and the attribute's error is raised.
void copyFile(const std::filesystem::path &from, const std::filesystem::path &to);

/// Copies a link as a link if its text begins with neither "." nor "/", so that it leads to a place beside or
/// below itself. For any other link, or if the link cannot be made, logs that and copies the file that the
/// text names. A relative text then counts from the working directory, not from the link.
void copySymlink(const std::filesystem::path &from, const std::filesystem::path &to);

/// Copies a directory with all below it. On failure `to` is removed, even if it existed before the call, and
/// the first error is raised. The permission bits of directories are not carried over.
void copyDirectory(const std::filesystem::path &from, const std::filesystem::path &to);

/// Makes `to` with the content and the permission bits of the regular file `from`, which may be reached by a
/// link. The copy belongs to the user of this process. If that is not the owner of `from`, the copy has no
/// set-user-id or set-group-id bit; if only the group differs, no set-group-id bit. Raises
/// std::filesystem::filesystem_error, also when `to` exists, and ErrorCode::Filesystem if closing the copy
/// fails. Until its content is written, other users cannot open the copy; a failure or a kill may leave it
/// so.
void copyContent(const std::filesystem::path &from, const std::filesystem::path &to);

} // namespace Common
