#include "kelp/core/kelp/inspection/readable.h"

#include "kelp/core/common/error.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace Core::KELP {

void requireReadable(const std::filesystem::path &path) {
    // As the effective user, who is the one that will read. What is not there, or fails otherwise, is for the
    // reader to tell.
    if (::faccessat(AT_FDCWD, path.c_str(), R_OK, AT_EACCESS) != 0 && errno == EACCES)
        throw Common::Error(Common::ErrorCode::UnauthorizedAccess, "Only root can read " + path.string());
}

} // namespace Core::KELP
