#include "kelp/core/kelp/mending/held-entry.h"

#include "kelp/core/common/errors/error.h"
#include "kelp/core/kelp/package/contents-list.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>

namespace fs = std::filesystem;

namespace Core::KELP {

namespace {

[[noreturn]] void raiseUnmended(const fs::path &path, int reason) {
    throw Common::Error(Common::ErrorCode::Filesystem, "Couldn't mend " + path.string(), reason);
}

void requireMended(int result, const fs::path &path) {
    if (result != 0)
        raiseUnmended(path, errno);
}

} // namespace

HeldEntry::HeldEntry(Common::FileDescriptor file, fs::path path, mode_t type) :
    file_(std::move(file)), path_(std::move(path)) {
    struct stat status = {};
    if (file_.get() < 0 || ::fstat(file_.get(), &status) != 0)
        raiseUnmended(path_, errno);
    if ((status.st_mode & S_IFMT) != type)
        raiseUnmended(path_, EBUSY);
}

void HeldEntry::setMode(mode_t mode) const {
    requireMended(::chmod(reach().c_str(), mode), path_);
}

void HeldEntry::setOwner(uid_t owner, gid_t group) const {
    requireMended(::fchownat(file_.get(), "", owner, group, AT_EMPTY_PATH), path_);
}

void HeldEntry::setApplication(const std::string &id) const {
    requireMended(::setxattr(reach().c_str(), applicationIdAttribute, id.data(), id.size(), 0), path_);
}

std::string HeldEntry::reach() const {
    return "/proc/self/fd/" + std::to_string(file_.get());
}

} // namespace Core::KELP
