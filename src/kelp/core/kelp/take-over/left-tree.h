#pragma once

#include "kelp/core/kelp/package/package-information.h"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace Common::Rpm {
class Reader;
}
namespace Core {
class IConfiguration;
}

namespace Core::KELP {

class IDatabasePathResolver;

/// A tree that an earlier start staged or rescued, and that no journal names any more. It may be useless, or
/// the last copy of files that rpm has erased.
class LeftTree {
public:
    /// Reads the descriptor alone. One that is unreadable, or whose values cannot name a directory, counts as
    /// absent.
    explicit LeftTree(std::filesystem::path path);

    /// The entries of the directory of rescued trees, its mark among them. Raises as OwnDirectory::isOwn()
    /// and std::filesystem do.
    static std::vector<LeftTree> rescued(const IConfiguration &configuration);

    const std::filesystem::path &path() const { return path_; }

    /// ID-VERSION by the descriptor, or else the directory's own name.
    std::string name() const;

    /// Whether it is of this application; by the directory's name, perhaps numbered, where it has no
    /// descriptor.
    bool isOf(const std::string &id) const;

    /// Whether it is of this application and version, for a tree that was never rescued. Without a descriptor
    /// it has exactly the application's name.
    bool isOf(const std::string &id, const std::string &version) const;

    /// Whether it holds a regular file of rpm's record that is missing at its place. Raises
    /// ErrorCode::Filesystem when a place cannot be looked at, and as the readers of the record and of
    /// desktop files do.
    bool holdsMissingFile(const Common::Rpm::Reader &record) const;

    /// Whether this version is the store's current one, with the same descriptor, both lists and all of the
    /// tree's files, told by their paths. Raises what std::filesystem and readDescriptor() raise.
    bool isWholeInStore(const IDatabasePathResolver &resolver) const;

private:
    std::filesystem::path path_;
    std::optional<PackageInformation> descriptor_;
};

} // namespace Core::KELP
