#include "kelpctl/validate/run/workspace-place.h"

#include "kelpctl/validate/run/machine-limits.h"

#include <linux/magic.h>
#include <sys/statfs.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>

namespace fs = std::filesystem;

namespace KelpCtl {

namespace {

constexpr const char *memoryDirectory = "/dev/shm";

bool isChosen() {
    return std::getenv("TMPDIR") != nullptr;
}

/// Of the memory that would be left half stays for the judges, and for whoever else is at work.
bool fitsMemory(std::uint64_t size, std::size_t jobs) {
    struct statfs status {};
    if (size > largestSmall || ::statfs(memoryDirectory, &status) != 0 || !isInMemory(memoryDirectory) ||
        ::access(memoryDirectory, W_OK | X_OK) != 0)
        return false;
    const std::uint64_t free = status.f_bavail * static_cast<std::uint64_t>(status.f_bsize);
    return size * jobs <= std::min(free, usableMemory()) / 2;
}

} // namespace

WorkspacePlace workspacePlace(std::uint64_t size, std::size_t jobs) {
    if (!isChosen() && fitsMemory(size, jobs))
        return {memoryDirectory, true};
    return workspacePlaceOnDisk();
}

WorkspacePlace workspacePlaceOnDisk() {
    const fs::path directory = fs::temp_directory_path();
    return {directory, isInMemory(directory)};
}

std::vector<fs::path> workspacePlaces() {
    std::error_code ignored;
    std::vector<fs::path> places{fs::temp_directory_path(ignored)};
    if (!isChosen())
        places.emplace_back(memoryDirectory);
    return places;
}

bool isInMemory(const fs::path &directory) {
    struct statfs status {};
    return ::statfs(directory.c_str(), &status) == 0 &&
           (status.f_type == TMPFS_MAGIC || status.f_type == RAMFS_MAGIC);
}

} // namespace KelpCtl
