#pragma once

#include "kelp/core/kelp/incoming/rpm-package.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Core::KELP {

/// The files at the places of an application's files. Each is looked at once, before the staging; later
/// changes are not seen.
class StandingFiles {
public:
    struct File {
        std::uint64_t size = 0;       ///< Of the file that would be copied: a link may lead to it.
        std::uint32_t attributes = 0; ///< As statx(2) has them.
        std::uint16_t mode = 0;       ///< With the type. Of a link itself; 0 for a missing file.
        std::uint16_t error = 0;      ///< The errno of a failed look.
        bool isByRoot = false; ///< Only root can have made the way there (Common::Directory::byLinksOfRoot).
        bool canBeLinked = false; ///< By its status the tree can have a hard link of it.
    };

    /// `stagingDevice` is the filesystem of the staged trees. A failed look raises nothing here.
    StandingFiles(const RpmPackage &package, std::uint64_t stagingDevice);

    /// By the numbers of the package's files; a directory has no values. Raises ErrorCode::Filesystem after a
    /// failed look.
    const File &operator[](std::size_t number) const;

    /// The expected bytes of the tree, in whole blocks: all but files to be copied take one each.
    /// `recordedSizes` are rpm's.
    std::uint64_t bytes(const std::vector<std::uint64_t> &recordedSizes) const;

private:
    const RpmPackage *package_;
    std::vector<File> files_;
};

} // namespace Core::KELP
