#include "kelp/core/common/root-path.h"

#include <cstdlib>

namespace Common {

std::filesystem::path rootPath() {
    const char *prefix = std::getenv("KELP_ROOT_FS");
    return prefix ? prefix : "/";
}

std::filesystem::path belowRoot(const std::filesystem::path &path) {
    return rootPath() / path.relative_path();
}

} // namespace Common
