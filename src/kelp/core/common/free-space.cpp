#include "kelp/core/common/free-space.h"

#include "kelp/core/common/or-raise.h"
#include "kelp/core/common/path-tests.h"

#include <sys/stat.h>

namespace fs = std::filesystem;

namespace Common {

namespace {

fs::path nearestExisting(const fs::path &path) {
    fs::path existing = fs::absolute(path);
    while (!Common::exists(existing) && existing.has_relative_path())
        existing = existing.parent_path();
    return existing;
}

dev_t deviceOf(const fs::path &path) {
    struct stat status = {};
    if (::stat(nearestExisting(path).c_str(), &status) != 0)
        throw Error(ErrorCode::Filesystem, "Couldn't retrieve free space: " + path.string());
    return status.st_dev;
}

} // namespace

std::uint64_t freeSpace(const fs::path &path) {
    return orRaise(ErrorCode::Filesystem, "Couldn't retrieve free space: " + path.string(),
                   [&] { return fs::space(nearestExisting(path)).available; });
}

bool isSameFilesystem(const fs::path &a, const fs::path &b) {
    return deviceOf(a) == deviceOf(b);
}

} // namespace Common
