#include "kelp/core/common/files/path-walk.h"

namespace fs = std::filesystem;

namespace Common {

namespace {

constexpr int mostLinks = 40; ///< The kernel's limit.

} // namespace

PathWalk::PathWalk(const fs::path &path) {
    prepend(path);
}

void PathWalk::prepend(const fs::path &path) {
    const std::vector<fs::path> names(path.begin(), path.end());
    rest_.insert(rest_.end(), names.rbegin(), names.rend());
}

std::optional<fs::path> PathWalk::next() {
    if (rest_.empty())
        return std::nullopt;
    fs::path name = std::move(rest_.back());
    rest_.pop_back();
    return name;
}

bool PathWalk::follow(const fs::path &target) {
    if (++links_ > mostLinks)
        return false;
    prepend(target);
    return true;
}

} // namespace Common
