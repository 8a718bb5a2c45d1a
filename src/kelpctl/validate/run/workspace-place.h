#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <vector>

namespace KelpCtl {

/// A directory in which packages are unpacked.
struct WorkspacePlace {
    std::filesystem::path directory;
    bool isMemory = false; ///< Of the machine, and not on a disk.
};

/// From this size on, in bytes of all its files, a package is a large one: it is not unpacked to memory that
/// others need, and by more than one processor of its own only where that is asked for.
constexpr std::uint64_t largestSmall = std::uint64_t{64} << 20U;

/// Where a package of that size is unpacked while `jobs` of them are at once: in the directory that TMPDIR
/// names, or else in memory as long as half of what is left there would do, or else in /tmp.
/// Raises std::filesystem::filesystem_error when TMPDIR names no directory.
WorkspacePlace workspacePlace(std::uint64_t size, std::size_t jobs);

/// Where one goes for which there was no room in memory after all.
WorkspacePlace workspacePlaceOnDisk();

/// All directories that the others may answer.
std::vector<std::filesystem::path> workspacePlaces();

/// Whether the directory lies in memory.
bool isInMemory(const std::filesystem::path &directory);

} // namespace KelpCtl
