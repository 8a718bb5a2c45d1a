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

/// The temporary directory in which the trees of packages wait to be moved into the store, and the place
/// beside it to which trees go that nobody can publish any more.
class StagingArea {
public:
    /// `configuration` must outlive the object.
    explicit StagingArea(const IConfiguration &configuration) : configuration_(&configuration) {}

    /// Whether the directory is the launcher's to clear (OwnDirectory), and the store is not in it. Otherwise
    /// a slip in the configuration ("temp_directory = /home") would remove what is there.
    bool isOwn() const;

    /// Raises ErrorCode::Filesystem unless it is. Makes it, and has it marked.
    void requireOwn() const;

    /// What lies there at none of the paths of `kept`. Raises what std::filesystem raises.
    std::vector<std::filesystem::path> leftovers(const std::set<std::filesystem::path> &kept) const;

    /// Whether a leftover is nothing that anybody can need: a probe, the reserve, a tree that was given up,
    /// or one with nothing in it.
    static bool isScrap(const std::filesystem::path &leftover);

    /// Removes those. Raises ErrorCode::Filesystem, and what leftovers() raises.
    void clearScrap(const std::set<std::filesystem::path> &kept) const;

    /// Removes a staged tree of which nothing is needed. Killed at any moment, it leaves the tree, or scrap.
    /// Raises ErrorCode::Filesystem.
    void giveUp(const std::filesystem::path &tree) const;

    /// Where the tree of a package is made.
    std::filesystem::path treeOf(const std::string &id) const;

    /// Bytes that copies may take: what the filesystem has free. Raises as Common::freeSpace() does.
    std::uint64_t room() const;

    /// Makes sure that the trees of `count` packages will survive what follows, while rpm still has
    /// everything: that they can be moved into the store, that there is space for the store's own files,
    /// which releaseReserve() gives back, and that they are on disk. Raises ErrorCode::Filesystem.
    void secure(std::size_t count) const;
    void releaseReserve() const;

    /// What secure() sets aside for one package.
    static std::uint64_t reservePerPackage();

    /// Takes a tree out of harm's way, to the directory of rescued trees (OwnDirectory), in one step and
    /// never over another tree; returns the place. `name` is ID-VERSION where both are known. Raises
    /// ErrorCode::Filesystem, and then the tree is where it was.
    std::filesystem::path rescue(const std::filesystem::path &tree, const std::string &name) const;

    /// Whether a tree of this version was rescued at some time.
    bool isRescued(const std::string &id, const std::string &version) const;

private:
    bool isBesideStore() const;
    std::filesystem::path movedProbe() const;
    std::filesystem::path reserve() const;
    std::filesystem::path rescuePlace(const std::string &name) const;

    const IConfiguration *configuration_;
};

} // namespace Core::KELP
