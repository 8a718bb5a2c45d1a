#pragma once

#include <filesystem>
#include <optional>
#include <vector>

namespace Common {

/// The names of a path in their order. The target of each link that the caller follows takes the place of the
/// link's name, as for the kernel. Looks at no disk: the caller keeps the place that the walk has reached,
/// and judges a link before it follows it.
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
