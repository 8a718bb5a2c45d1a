#pragma once

#include <filesystem>
#include <optional>
#include <vector>

namespace Common {

/// A walk over the names of a path, in order. If the caller follows a link, the names of the link's target
/// take the place of the link's name, as the kernel does it. The walk does not look at the disk: the caller
/// knows which place it has reached, and judges a link before it follows the link.
class PathWalk {
public:
    explicit PathWalk(const std::filesystem::path &path);

    /// Takes the next name off the path: "/" for the beginning of an absolute path, and "" for a slash at the
    /// end. Nothing when the walk is over.
    std::optional<std::filesystem::path> next();

    /// Goes on with a link's target, then with the rest of the path. False when that was one link more than
    /// the kernel follows, as in a loop of links.
    bool follow(const std::filesystem::path &target);

private:
    void prepend(const std::filesystem::path &path);

    std::vector<std::filesystem::path> rest_; ///< The next name is the last.
    int links_ = 0;
};

} // namespace Common
