#pragma once

#include <filesystem>
#include <functional>
#include <string>

namespace Common {

class Directory;

// Copies carry content, permission bits and non-empty extended attributes along; not owner nor times, and
// with the owner go the set-user-id and set-group-id bits, unless the copy has the same (copyContent). They
// refuse to overwrite. All raise ErrorCode::Filesystem, and remove what they made; only where the content of
// a single file could not be copied, copy(), copyFile() and copySymlink() leave what there is of it, which
// nobody else can open. Parents that were made stay.

/// Copies whatever `from` is: a link as copySymlink does, a directory, a regular file. Raises when `from`
/// does not exist (a dangling link does not), when `to` exists, and for any other kind of entry.
void copy(const std::filesystem::path &from, const std::filesystem::path &to);

/// The name that a copy has in its directory while copyInOneStep() makes it.
inline constexpr const char *unfinishedCopyName = ".kelp-unfinished-copy";

/// Copies a regular file or a link as copy() does, to an entry of a directory. The copy gets its name when it
/// is complete and `finish` has had it by its unfinished one. A kill leaves it complete or absent, and an
/// unfinished copy at worst, which the next one in that directory replaces. `finish` is not called for a link
/// that is copied as a link. Raises as copy() does, for a directory too.
void copyInOneStep(const std::filesystem::path &from, const Directory &directory, const std::string &name,
                   const std::function<void(const std::filesystem::path &)> &finish);

/// Copies a regular file, or the regular file that a link leads to; makes the parents of `to`. When
/// attributes cannot be carried over, `to` is removed and the attribute's error is raised.
void copyFile(const std::filesystem::path &from, const std::filesystem::path &to);

/// Copies a link as a link when its text begins with neither "." nor "/", that is, when it points beside
/// itself. Any other link, and one that cannot be made, is logged and replaced by the content it names: its
/// text is used as it stands, so that a relative one is taken from the working directory.
void copySymlink(const std::filesystem::path &from, const std::filesystem::path &to);

/// Copies a directory with all below it. On failure `to` is removed, even if it existed before the call, and
/// the first error is raised. The permission bits of directories are not carried over.
void copyDirectory(const std::filesystem::path &from, const std::filesystem::path &to);

/// Makes `to` with the content and the permission bits of the regular file `from`, which may be reached by a
/// link. The copy belongs to whoever makes it: where that is not the owner of `from`, or not its group, it
/// does not have the bit by which programs run as their owner or as their group, at no moment. Raises
/// std::filesystem::filesystem_error, also when `to` exists, and ErrorCode::Filesystem for what the system
/// tells only when the file is closed; a copy that is not complete, left by a failure or a kill, can be
/// opened by nobody else.
void copyContent(const std::filesystem::path &from, const std::filesystem::path &to);

} // namespace Common
