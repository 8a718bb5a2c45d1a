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

/// In bytes of all files: a larger package must not take memory that others need.
constexpr std::uint64_t largestSmall = std::uint64_t{64} << 20U;

bool isChosen() {
    return std::getenv("TMPDIR") != nullptr;
}

bool isMemory(const struct statfs &status) {
    return status.f_type == TMPFS_MAGIC || status.f_type == RAMFS_MAGIC;
}

} // namespace

bool fitsMemory(std::uint64_t size, std::size_t jobs) {
    struct statfs status {};
    if (isChosen() || size > largestSmall || ::statfs(memoryDirectory, &status) != 0 || !isMemory(status) ||
        ::access(memoryDirectory, W_OK | X_OK) != 0)
        return false;
    // Half stays for the judges and for other programs.
    const std::uint64_t free = status.f_bavail * static_cast<std::uint64_t>(status.f_bsize);
    return size * jobs <= std::min(free, usableMemory()) / 2;
}

std::vector<fs::path> workspacePlaces() {
    std::error_code ignored;
    std::vector<fs::path> places{fs::temp_directory_path(ignored)};
    if (!isChosen())
        places.emplace_back(memoryDirectory);
    return places;
}

} // namespace KelpCtl
