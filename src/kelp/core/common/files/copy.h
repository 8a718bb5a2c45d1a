#pragma once

#include <filesystem>
#include <functional>
#include <string>

namespace Common {

class Directory;

// A copied file has the content and the permission bits of the original; copyContent() tells about set-id
// bits. Except after copyContent(), it also has the original's extended attributes that are not empty. Owner
// and times are those of a new file. No function overwrites a file at its target, but copyDirectory() also
// fills an existing directory.
//
// All but copyContent() raise ErrorCode::Filesystem. After a failure, parents that were made stay.
// copyInOneStep() then removes its unfinished copy, and copyDirectory(), if it has begun to fill `to`,
// removes `to` with all that it holds. Each logs a removal that fails. The others may leave an incomplete
// file when the content cannot be copied, and remove the file when the attributes cannot be set.

/// Copies a link as copySymlink does, a directory, or a regular file. Raises when `from` does not exist (a
/// dangling link does not), when `to` exists, and for any other kind of entry.
void copy(const std::filesystem::path &from, const std::filesystem::path &to);

/// The name that a copy has in its directory while copyInOneStep() makes it.
inline constexpr const char *unfinishedCopyName = ".kelp-unfinished-copy";

/// Copies a regular file or a link to the entry `name` of `directory`, by the rules of copy(); `name` never
/// shows an incomplete copy. A file is copied under unfinishedCopyName. Then `finish` gets a path to that
/// copy, valid during the call, and the copy is renamed to `name`. A kill can leave the unfinished copy. The
/// next file that is copied into `directory` replaces it, so the caller lets only one call run there at a
/// time. A link that is copied as a link is made as `name` at once, without `finish`. A directory is refused.
/// Also raises as Directory's operations and `finish` do.
void copyInOneStep(const std::filesystem::path &from, const Directory &directory, const std::string &name,
                   const std::function<void(const std::filesystem::path &)> &finish);

/// Copies a regular file, or the regular file that a link leads to; makes the parents of `to`. When
/// attributes cannot be carried over, `to` is removed and the attribute's error is raised.
void copyFile(const std::filesystem::path &from, const std::filesystem::path &to);

/// Copies a link. If its text begins with neither "." nor "/", it counts as leading beside or below the link:
/// the copy is a link with the same text. Any other link, or one that cannot be made, is logged, and
/// copyFile() copies the file that the text names. Then a relative text counts from the working directory,
/// and not from the link. No packaged link of a stored version begins with ".": resolveLink() makes such
/// texts absolute.
void copySymlink(const std::filesystem::path &from, const std::filesystem::path &to);

/// Copies a directory with all below it. If an entry cannot be copied, `to` is removed, even if it existed
/// before the call, and the first error is raised. The permission bits of directories are not carried over.
void copyDirectory(const std::filesystem::path &from, const std::filesystem::path &to);

/// Makes `to` with the content and the permission bits of the regular file `from`, which may be reached by a
/// link. The copy belongs to the user of this process. If the owners of the two files differ, the copy gets
/// neither set-id bit; if only the groups differ, no set-group-id bit. Only the owner can open the copy until
/// its content is complete. A failure or a kill before that may leave an incomplete copy, closed to others.
/// Raises std::filesystem::filesystem_error, also when `to` exists. If the disk reports a failed write only
/// when the copy is closed, raises ErrorCode::Filesystem, and the copy has its permission bits already.
void copyContent(const std::filesystem::path &from, const std::filesystem::path &to);

} // namespace Common
