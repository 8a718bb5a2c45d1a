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

    /// Whether the directory is the launcher's to clear: at its default place, or empty, or not there, or
    /// with the mark of an earlier run; and the store is not in it. Otherwise a slip in the configuration
    /// ("temp_directory = /home") would remove what is there.
    bool isOwn() const;

    /// Raises ErrorCode::Filesystem unless it is. Marks a directory at another place than the default one.
    void requireOwn() const;

    /// What lies there at none of the paths of `kept`, and is cleared before anything is staged. Raises what
    /// std::filesystem raises.
    std::vector<std::filesystem::path> leftovers(const std::set<std::filesystem::path> &kept) const;

    /// Removes those. That it could not be done is logged as two warnings.
    void clear(const std::set<std::filesystem::path> &kept) const;

    /// Where the tree of a package is made.
    std::filesystem::path treeOf(const std::string &id) const;

    /// Bytes that copies may take: what the filesystem has free. Raises as Common::freeSpace() does.
    std::uint64_t room() const;

    /// The directory in which the temporary one lies, and beside it the rescued trees and what is unpacked
    /// for an installation.
    static std::filesystem::path surroundings(const IConfiguration &configuration);

    /// Makes sure that the trees of `count` packages will survive what follows, while rpm still has
    /// everything: that they can be moved into the store, that there is space for the store's own files,
    /// which releaseReserve() gives back, and that they are on disk. Raises ErrorCode::Filesystem.
    void secure(std::size_t count) const;
    void releaseReserve() const;

    /// What secure() sets aside for one package.
    static std::uint64_t reservePerPackage();

    /// Takes a tree out of harm's way, to ID-VERSION below the directory "rescued" beside the temporary
    /// directory, in one step and never over another tree; returns the place. Raises ErrorCode::Filesystem.
    std::filesystem::path rescue(const std::filesystem::path &tree, const std::string &id,
                                 const std::string &version) const;

    /// Whether a tree of this version was rescued at some time.
    bool isRescued(const std::string &id, const std::string &version) const;

private:
    std::filesystem::path movedProbe() const;
    std::filesystem::path reserve() const;
    std::filesystem::path rescuePlace(const std::string &id, const std::string &version) const;

    const IConfiguration *configuration_;
};

} // namespace Core::KELP
