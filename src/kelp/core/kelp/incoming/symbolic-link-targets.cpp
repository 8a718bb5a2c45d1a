#include "kelp/core/kelp/incoming/symbolic-link-targets.h"

#include "kelp/core/common/files/path-walk.h"

namespace fs = std::filesystem;

namespace Core::KELP {

namespace {

/// Forty links with long texts would cost thousands of looks at the disk.
constexpr int mostSteps = 512;

/// One walk along a path of a package's tree.
class TreeWalk {
public:
    TreeWalk(const fs::path &path, const fs::path &versionDirectory, const TreeLookup &lookUp) :
        walk_(path), versionDirectory_(versionDirectory), lookUp_(lookUp) {}

    /// Nothing when the path leads nowhere.
    std::optional<TreePlace> end() {
        while (const auto name = walk_.next())
            if (++steps_ > mostSteps || !place_.isDirectory || !step(*name))
                return std::nullopt;
        return std::move(place_);
    }

private:
    bool step(const fs::path &name) {
        if (name.empty() || name == ".")
            return true;
        return name == ".." ? ascend() : descend(name);
    }

    bool ascend() {
        // Nothing above the tree is the package's.
        if (place_.path.empty())
            return false;
        place_.path = place_.path.parent_path();
        return true;
    }

    bool descend(const fs::path &name) {
        const auto node = lookUp_(place_.path / name);
        if (!node)
            return false;
        if (node->kind == TreeNode::Kind::Link)
            return follow(node->target);
        place_ = {place_.path / name, node->kind == TreeNode::Kind::Directory};
        return true;
    }

    bool follow(const fs::path &target) {
        if (target.empty())
            return false;
        if (target.is_relative())
            return walk_.follow(target);
        // Any other target brings in nothing of the package.
        const fs::path inTree = target.lexically_relative(versionDirectory_);
        if (inTree.empty() || *inTree.begin() == "..")
            return false;
        place_ = {{}, true};
        return walk_.follow(inTree);
    }

    Common::PathWalk walk_;
    const fs::path &versionDirectory_;
    const TreeLookup &lookUp_;
    TreePlace place_{{}, true};
    int steps_ = 0;
};

bool isPlainRelative(const fs::path &target) {
    return !target.has_root_directory() && !target.empty() && target.native().front() != '.';
}

fs::path systemPathOf(const fs::path &target, const fs::path &link) {
    return target.has_root_directory() ? target : fs::weakly_canonical(link.parent_path() / target);
}

} // namespace

std::optional<TreePlace> followSymbolicLinks(const fs::path &path, const fs::path &versionDirectory,
                                             const TreeLookup &lookUp) {
    return TreeWalk(path, versionDirectory, lookUp).end();
}

std::pair<fs::path, fs::path> resolveLink(const fs::path &path, const fs::path &target,
                                          const fs::path &destination, const fs::path &versionDirectory,
                                          const PathTranslation &translate) {
    const fs::path resolved = isPlainRelative(target)
                                  ? target
                                  : fs::absolute(versionDirectory / translate(systemPathOf(target, path)));
    return {destination / translate(path), resolved};
}

} // namespace Core::KELP
