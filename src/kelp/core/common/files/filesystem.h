#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace Common {

// File operations that all fail in one way: they log the system's reason as an error, then raise
// ErrorCode::Filesystem with a text that names the operation and the paths. Unless stated otherwise, a failed
// operation leaves on disk what the function of std::filesystem for that operation leaves, and the parents
// that it made.

/// Removes `path` and all below it; links are removed, not followed. Part of a tree may be gone after a
/// failure. With a mount point at `path` or below it, raises as requireNoMount(), and removes nothing.
void removeAll(const std::filesystem::path &path);

/// Raises ErrorCode::Filesystem "PATH is a mount point" if `path` is a directory and something is mounted on
/// it, or on an entry below it: that belongs to whoever has mounted it. Logs nothing then.
void requireNoMount(const std::filesystem::path &path);

/// Makes the directory and its parents. One that exists is fine.
void createDirectories(const std::filesystem::path &path);

/// The same, but makes the directory itself for its owner alone (0700). Whatever has its name already stays
/// as it is, a file too. If the directory itself cannot be made, that is not logged, and the error has the
/// system's reason.
void createPrivateDirectory(const std::filesystem::path &path);

/// Replaces the permission bits.
void setPermissions(const std::filesystem::path &path, std::filesystem::perms permissions);

/// The text of the link, not resolved.
std::filesystem::path readSymlink(const std::filesystem::path &path);

/// Makes the parents of `to`, then renames: one atomic step within a filesystem, an error across filesystems.
void move(const std::filesystem::path &from, const std::filesystem::path &to);

/// Makes the parents of `link`, then the link. If `link` exists (a dangling link does not), leaves it, logs
/// nothing, and raises with a text that ends in " (path already exists)".
void createSymlink(const std::filesystem::path &target, const std::filesystem::path &link);

/// The same for a hard link to `target`.
void createHardlink(const std::filesystem::path &target, const std::filesystem::path &link);

/// Whether two regular files, links followed, hold the same bytes. Raises as the others do.
bool hasSameContent(const std::filesystem::path &a, const std::filesystem::path &b);

/// Options of listDirectory; combine them with |.
enum class Listing : unsigned {
    Plain = 0,
    Recursive = 1,       ///< Subdirectories too, each before its entries. Links are not entered.
    SortByWriteTime = 2, ///< Oldest first; ties in no defined order.
};

constexpr Listing operator|(Listing a, Listing b) {
    return static_cast<Listing>(static_cast<unsigned>(a) | static_cast<unsigned>(b));
}

/// The entries of a directory as `path` joined with their names, in the order in which the system lists them.
/// Each entry's write time is read through links, so that one dangling link fails the whole listing.
std::vector<std::filesystem::path> listDirectory(const std::filesystem::path &path,
                                                 Listing listing = Listing::Plain);

/// The free bytes of the filesystem on which `path` lies, or would lie: that of its nearest existing parent.
/// Raises ErrorCode::Filesystem "Couldn't retrieve free space: PATH".
std::uint64_t freeSpace(const std::filesystem::path &path);

/// The number of the filesystem on which `path` lies, or would lie. Raises as freeSpace does.
std::uint64_t deviceOf(const std::filesystem::path &path);

/// Whether both lie, or would lie, on one filesystem. Raises as freeSpace does.
bool isSameFilesystem(const std::filesystem::path &a, const std::filesystem::path &b);

} // namespace Common
