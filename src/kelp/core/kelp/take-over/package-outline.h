#pragma once

#include "kelp/core/kelp/incoming/rpm-package.h"
#include "kelp/core/kelp/incoming/symbolic-link-targets.h"
#include "kelp/core/kelp/take-over/compact-paths.h"
#include "kelp/core/kelp/take-over/standing-files.h"

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace Core::KELP {

class Mapping;

/// The tree that an installed rpm package will have in the store, by rpm's file list and the files on disk.
/// Copies nothing.
class PackageOutline {
public:
    /// `versionDirectory` is where the tree will lie: links are made to lead there. Raises
    /// ErrorCode::Filesystem when a look at a file fails, and as Common::Directory::byLinksOfRoot() and
    /// resolveLink() do.
    PackageOutline(const RpmPackage &package, const StandingFiles &standing,
                   const std::filesystem::path &versionDirectory);

    /// Why the tree cannot be made, or not be published by `mappings`, which lead from the package to the
    /// system. Nothing if it can. The reason is one of these:
    /// - two files at one place, or a link that leads to nothing in the tree;
    /// - a file or link in place of a directory that another entry or a mapping needs;
    /// - a place that the store needs itself, or a path that is too deep or leads out of the tree;
    /// - an installed link or file that became something else, or a file that others than root can exchange.
    std::optional<std::string> objection(const std::vector<Mapping> &mappings) const;

    /// The places in the system at which files of the tree will be published, in no particular order.
    CompactPaths targets(const std::vector<Mapping> &mappings) const;

private:
    using Kind = TreeNode::Kind;

    void add(const RpmPackage &package, const StandingFiles &standing, std::size_t number);
    void addInstalledFile(const std::filesystem::path &installed, const std::filesystem::path &path);
    void put(const std::filesystem::path &path, const TreeNode &node);
    bool leadsSomewhere(const std::filesystem::path &link) const;
    const TreeNode *find(const std::filesystem::path &path) const;
    std::optional<std::string> mappingObjection(const Mapping &mapping) const;

    std::filesystem::path versionDirectory_;
    std::map<std::string, TreeNode> nodes_; ///< By their paths in the tree, all directories among them.
    std::optional<std::string> objection_;
};

} // namespace Core::KELP
