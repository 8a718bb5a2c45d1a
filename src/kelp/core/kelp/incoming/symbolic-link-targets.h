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

/// Where a path of a package's tree leads when all links are followed, as the kernel would follow them once
/// the tree lies in `versionDirectory`. So an absolute link to a place below `versionDirectory` leads into
/// the tree. Any other absolute link, and a path that climbs above the tree, leads outside. Returns nothing
/// for a path that leads outside or to nothing, and for one that takes absurdly many links or steps.
std::optional<TreePlace> followSymbolicLinks(const std::filesystem::path &path,
                                             const std::filesystem::path &versionDirectory,
                                             const TreeLookup &lookUp);

/// Translates a system path to a path in the package's tree.
using PathTranslation = std::function<std::filesystem::path(const std::filesystem::path &)>;

/// Returns where to make a packaged link, below the staging directory `destination`, and the text to give it.
/// With an absolute text, a link within the package leads to the same place once the tree lies in
/// `versionDirectory`.
///
/// `path` is the system path of the link and `target` its packaged text. A relative text that does not begin
/// with "." stays as it is. Any other text becomes an absolute path: the system path to which it leads,
/// translated and joined to `versionDirectory`. To find where a text that begins with "." leads, this follows
/// links of the running machine, and raises std::filesystem::filesystem_error when that fails. A relative
/// `versionDirectory` counts from the working directory. An empty `translate` throws std::bad_function_call.
std::pair<std::filesystem::path, std::filesystem::path>
resolveLink(const std::filesystem::path &path, const std::filesystem::path &target,
            const std::filesystem::path &destination, const std::filesystem::path &versionDirectory,
            const PathTranslation &translate);

} // namespace Core::KELP
