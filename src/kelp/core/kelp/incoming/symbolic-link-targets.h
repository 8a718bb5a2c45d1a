#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <utility>

namespace Core::KELP {

/// The entry at one place of a package's tree.
struct TreeNode {
    enum class Kind { File, Directory, Link };

    Kind kind = Kind::Directory;
    std::filesystem::path target = {}; ///< The text of a link.
};

/// Looks at one place; the path is relative to the tree, and none of its directories is a link. Empty when
/// nothing is there.
using TreeLookup = std::function<std::optional<TreeNode>(const std::filesystem::path &)>;

/// A place of a package's tree, other than a link. The tree itself has an empty path.
struct TreePlace {
    std::filesystem::path path;
    bool isDirectory = false;
};

/// Where a path of a package's tree leads when all links are followed, as by the kernel once the tree lies in
/// `versionDirectory`: a link's target below that counts as in the tree. Every other absolute path, and one
/// that climbs above the tree, is outside. Empty for a path that leads outside or nowhere, or takes absurdly
/// many links or steps.
std::optional<TreePlace> followSymbolicLinks(const std::filesystem::path &path,
                                             const std::filesystem::path &versionDirectory,
                                             const TreeLookup &lookUp);

/// Translates a system path to a path in the package's tree.
using PathTranslation = std::function<std::filesystem::path(const std::filesystem::path &)>;

/// The place of a package's link below `destination`, the staging directory, and its new target. So a link
/// within the package stays a link within the version.
///
/// `path` is the system path of the link and `target` its text. A plain relative name stays as it is. An
/// absolute target, and a relative one that begins with "." or is empty, become paths below
/// `versionDirectory`, at the place of their translation. `versionDirectory` may be relative. An empty
/// translation throws std::bad_function_call.
std::pair<std::filesystem::path, std::filesystem::path>
resolveLink(const std::filesystem::path &path, const std::filesystem::path &target,
            const std::filesystem::path &destination, const std::filesystem::path &versionDirectory,
            const PathTranslation &translate);

} // namespace Core::KELP
