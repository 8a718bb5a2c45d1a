#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

namespace Core {
class IConfiguration;
}

namespace Core::KELP {

/// The temporary directory in which the trees of packages wait to be moved into the store, and beside it the
/// directory of rescued trees, which no take-over publishes.
class StagingArea {
public:
    /// `configuration` must outlive the object.
    explicit StagingArea(const IConfiguration &configuration) : configuration_(&configuration) {}

    /// Whether the directory is the launcher's to clear (OwnDirectory), and neither it nor the store is in
    /// the other. Otherwise a slip in the configuration ("temp_directory = /home") would remove foreign
    /// files. Raises as OwnDirectory::isOwn() does.
    bool isOwn() const;

    /// Raises ErrorCode::Filesystem unless it is. Makes and marks it.
    void requireOwn() const;

    /// The entries there but the mark and those in `kept`. Raises ErrorCode::Filesystem, and what
    /// std::filesystem raises.
    std::vector<std::filesystem::path> leftovers(const std::set<std::filesystem::path> &kept) const;

    /// Whether a leftover is useless: a probe, the reserve of an earlier version, a tree that was given up,
    /// or an empty one.
    static bool isScrap(const std::filesystem::path &leftover);

    /// Removes those, and first the probe in the store. Raises ErrorCode::Filesystem if that stays, or if
    /// scrap stays after the rest is gone, and what leftovers() raises.
    void clearScrap(const std::set<std::filesystem::path> &kept) const;

    /// Removes a tree that nobody needs: a staged one, or a package's directory in the store. The tree is
    /// first renamed to a scrap name in this directory. So a kill leaves the whole tree in its place, or
    /// scrap that a later clearScrap() removes. Raises ErrorCode::Filesystem when the tree cannot be renamed.
    /// A failure of the removal itself is only logged.
    void giveUp(const std::filesystem::path &tree) const;

    /// Where the tree of a package is made.
    std::filesystem::path treeOf(const std::string &id) const;

    /// Bytes that copies may take: what the filesystem has free. Raises as Common::freeSpace() does.
    std::uint64_t room() const;

    /// Makes sure that staged trees can be moved into the store, and that they are on disk. Raises
    /// ErrorCode::Filesystem.
    void secure() const;

    /// The bytes that the store writes beside the files of one package.
    static std::uint64_t spacePerPackage();

    /// Moves a tree to the directory of rescued trees (OwnDirectory) by one rename. Its new name is `name`,
    /// such as ID-VERSION; if that is taken, a number follows. Returns the tree's new place. Raises
    /// ErrorCode::Filesystem; then the tree is where it was.
    std::filesystem::path rescue(const std::filesystem::path &tree, const std::string &name) const;

private:
    bool isBesideStore() const;
    void dropMovedProbe() const;
    std::filesystem::path movedProbe() const;
    std::filesystem::path rescuePlace(const std::string &name) const;

    const IConfiguration *configuration_;
};

} // namespace Core::KELP
