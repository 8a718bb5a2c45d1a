#include "kelp/core/kelp/publication/target-places.h"

#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/files/directory.h"
#include "kelp/core/common/files/path-tests.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <optional>
#include <system_error>

namespace fs = std::filesystem;

namespace Core::KELP {

namespace {

using Common::Error;
using Common::ErrorCode;

constexpr std::uint64_t blockSize = 4096;
constexpr std::size_t directoriesAtMost = 256;

std::string reason(int error) {
    return std::generic_category().message(error);
}

Error unreadable(const fs::path &path) {
    return {ErrorCode::Filesystem, "Couldn't look at " + path.string(), errno};
}

/// Nothing when the path does not exist. Does not follow a link at the end.
std::optional<struct statx> lookAt(const fs::path &path) {
    struct statx status = {};
    if (::statx(AT_FDCWD, path.c_str(), AT_SYMLINK_NOFOLLOW, STATX_TYPE, &status) == 0)
        return status;
    if (!Common::isNotFound(errno))
        throw unreadable(path);
    return std::nullopt;
}

std::uint64_t attributesOf(const fs::path &path) {
    const auto status = lookAt(path);
    return status ? status->stx_attributes : 0;
}

/// An append-only directory takes new names and never releases one.
bool isUnchangeable(std::uint64_t attributes) {
    return (attributes & (STATX_ATTR_IMMUTABLE | STATX_ATTR_APPEND)) != 0;
}

fs::path existingPart(fs::path path) {
    while (!lookAt(path) && path.has_relative_path())
        path = path.parent_path();
    return path;
}

std::string obstacleOf(const fs::path &directory) {
    struct statx status = {};
    if (::statx(AT_FDCWD, directory.c_str(), 0, STATX_TYPE, &status) != 0)
        return directory.string() + ": " + reason(errno);
    if (!S_ISDIR(status.stx_mode))
        return directory.string() + " is no directory";
    if (isUnchangeable(status.stx_attributes))
        return directory.string() + " is immutable or append-only";
    // Root may write everywhere except on a read-only filesystem.
    if (::access(directory.c_str(), W_OK) != 0)
        return directory.string() + ": " + reason(errno);
    try {
        static_cast<void>(Common::Directory::byLinksOfRoot(directory));
        return {};
    } catch (const std::system_error &error) {
        if (!Common::Directory::isRefusal(error))
            throw Error(ErrorCode::Filesystem, error.what(), error.code().value());
        return "others than root decide where " + directory.string() + " leads";
    }
}

struct statvfs statusOf(const fs::path &path) {
    struct statvfs status = {};
    if (::statvfs(path.c_str(), &status) != 0)
        throw unreadable(path);
    return status;
}

} // namespace

const TargetPlaces::Place &TargetPlaces::place(const fs::path &directory) {
    if (const auto known = places_.find(directory.native()); known != places_.end())
        return known->second;
    if (places_.size() >= directoriesAtMost)
        places_.clear();
    // Kept once both looks have succeeded: after a failed one the next call must look again.
    Place place;
    place.existing = existingPart(directory).native();
    place.obstacle = obstacleOf(place.existing);
    return places_.emplace(directory.native(), std::move(place)).first->second;
}

std::string TargetPlaces::obstacle(const fs::path &target, std::optional<std::uint32_t> attributes) {
    const Place &parent = place(target.parent_path());
    if (!parent.obstacle.empty())
        return parent.obstacle;
    ++wanted_[parent.existing];
    const std::uint64_t found = attributes ? *attributes : attributesOf(target);
    if ((found & STATX_ATTR_MOUNT_ROOT) != 0)
        return target.string() + " is a mount point";
    if (isUnchangeable(found))
        return target.string() + " is immutable or append-only";
    return {};
}

std::string TargetPlaces::shortage() {
    struct Filesystem {
        struct statvfs status = {};
        std::uint64_t wanted = 0;
        fs::path place;
    };
    std::map<dev_t, Filesystem> filesystems;
    for (const auto &[directory, wanted] : wanted_) {
        struct stat status = {};
        if (::stat(directory.c_str(), &status) != 0)
            throw unreadable(directory);
        const auto [found, isNew] = filesystems.try_emplace(status.st_dev);
        if (isNew)
            found->second = {statusOf(directory), 0, directory};
        found->second.wanted += wanted;
    }
    wanted_.clear();
    for (const auto &[device, filesystem] : filesystems) {
        const auto &[status, wanted, place] = filesystem;
        // Some filesystems report no number of files.
        const bool hasFiles = status.f_files == 0 || status.f_favail >= wanted;
        const std::uint64_t free = std::uint64_t(status.f_bavail) * status.f_frsize;
        if (!hasFiles || free < wanted * blockSize)
            return "there is no room for its files on the disk of " + place.string();
    }
    return {};
}

} // namespace Core::KELP
