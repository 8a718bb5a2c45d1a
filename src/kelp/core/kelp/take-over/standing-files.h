#pragma once

#include "kelp/core/kelp/incoming/rpm-package.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Core::KELP {

/// What stands at the places of an application's files. Each is looked at once, for all that is to be known
/// before anything is staged; what changes meanwhile is not seen.
class StandingFiles {
public:
    struct File {
        std::uint64_t size = 0;       ///< Of the file that would be copied: a link may lead to it.
        std::uint32_t attributes = 0; ///< As statx(2) has them.
        std::uint16_t mode = 0;       ///< With the type. Of a link itself; 0 where nothing stands.
        std::uint16_t error = 0;      ///< Why it could not be looked at, an errno.
        bool isByRoot = false;    ///< Root alone can have led us there (Common::Directory::byLinksOfRoot).
        bool canBeLinked = false; ///< The tree will have a further name of it, as far as the status tells.
    };

    /// `stagingDevice` is the filesystem of the staged trees. What cannot be looked at raises nothing here.
    StandingFiles(const RpmPackage &package, std::uint64_t stagingDevice);

    /// By the numbers of the package's files; of a directory there is nothing to know. Raises
    /// ErrorCode::Filesystem for what could not be looked at.
    const File &operator[](std::size_t number) const;

    /// The blocks that the tree takes, at the least. `recordedSizes` are rpm's.
    std::uint64_t bytes(const std::vector<std::uint64_t> &recordedSizes) const;

private:
    const RpmPackage *package_;
    std::vector<File> files_;
};

} // namespace Core::KELP
