#pragma once

#include <filesystem>
#include <functional>
#include <string>

namespace Common {

class Directory;

// Copies have the content, permission bits and non-empty extended attributes of the original, but not its
// owner and times. They have its set-user-id and set-group-id bits only if the owner or group is the same
// (copyContent). They overwrite no file; copyDirectory() fills a directory that exists. All raise
// ErrorCode::Filesystem, and remove what they made. There is one exception: if the content of a single file
// could not be copied, copy(), copyFile() and copySymlink() leave a part of it, which nobody else can open.
// Parents that were made stay.

/// Copies a link as copySymlink does, a directory, or a regular file. Raises when `from` does not exist (a
/// dangling link does not), when `to` exists, and for any other kind of entry.
void copy(const std::filesystem::path &from, const std::filesystem::path &to);

/// The name that a copy has in its directory while copyInOneStep() makes it.
inline constexpr const char *unfinishedCopyName = ".kelp-unfinished-copy";

/// Copies a regular file or a link as copy() does, to an entry of a directory. First the copy is completed
/// under its unfinished name, then `finish` is called with that, then it gets its name. A kill leaves it
/// complete or absent, and at worst an unfinished copy, which the next one in that directory replaces.
/// `finish` is not called for a link that is copied as a link. Raises as copy() does, for a directory too.
void copyInOneStep(const std::filesystem::path &from, const Directory &directory, const std::string &name,
                   const std::function<void(const std::filesystem::path &)> &finish);

/// Copies a regular file, or the regular file that a link leads to; makes the parents of `to`. When
/// attributes cannot be carried over, `to` is removed and the attribute's error is raised.
void copyFile(const std::filesystem::path &from, const std::filesystem::path &to);

/// Copies a link as a link when its text begins with neither "." nor "/", that is, when it points beside
/// itself. Any other link, and one that cannot be made, is logged and replaced by its target's content. Its
/// text is not resolved: a relative one counts from the working directory.
void copySymlink(const std::filesystem::path &from, const std::filesystem::path &to);

/// Copies a directory with all below it. On failure `to` is removed, even if it existed before the call, and
/// the first error is raised. The permission bits of directories are not carried over.
void copyDirectory(const std::filesystem::path &from, const std::filesystem::path &to);

/// Makes `to` with the content and the permission bits of the regular file `from`, which may be reached by a
/// link. The copy belongs to the process. If its owner or group is not that of `from`, it never has the
/// set-user-id or set-group-id bit. Raises std::filesystem::filesystem_error, also when `to` exists, and
/// ErrorCode::Filesystem for a failure at the close. An incomplete copy, left by a failure or a kill, cannot
/// be opened by others.
void copyContent(const std::filesystem::path &from, const std::filesystem::path &to);

} // namespace Common
