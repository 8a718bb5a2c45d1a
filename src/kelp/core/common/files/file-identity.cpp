#include "kelp/core/common/files/file-identity.h"

#include <sys/stat.h>

namespace Common {

FileIdentity identityOf(const struct stat &status) {
    constexpr std::int64_t nanoseconds = 1'000'000'000;
    return {status.st_dev, status.st_ino, static_cast<std::uint64_t>(status.st_size),
            status.st_mtim.tv_sec * nanoseconds + status.st_mtim.tv_nsec};
}

std::optional<FileIdentity> identityAt(const std::filesystem::path &path) {
    struct stat status = {};
    if (::lstat(path.c_str(), &status) != 0)
        return std::nullopt;
    return identityOf(status);
}

bool IdentityComparison::isSame(const FileIdentity &noted, const FileIdentity &now) {
    if (noted.inode != now.inode || noted.size != now.size || noted.modified != now.modified)
        return false;
    // The first file that matches in everything else tells which device the noted number means.
    return devices_.emplace(noted.device, now.device).first->second == now.device;
}

} // namespace Common
