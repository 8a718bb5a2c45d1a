#include "kelp/core/kelp/validator/framework/file-status.h"

#include "kelp/core/common/errors/error.h"

#include <cerrno>

namespace Validator {

struct stat statusOf(const std::string &path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0)
        throw Common::Error(Common::ErrorCode::Filesystem, "Couldn't look at file: " + path, errno);
    return status;
}

} // namespace Validator
