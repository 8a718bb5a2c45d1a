#pragma once

#include "kelp/core/kelp/incoming/rpm-package.h"

#include <cstdint>
#include <vector>

namespace Common::Rpm {
class Reader;
}

namespace Core::KELP {

/// rpm's record of an application to take over, without librpm's header, which is large.
struct InstalledApplication {
    RpmPackage package;
    std::vector<std::uint64_t> sizes; ///< Of each of the package's files, as the record has it.
    std::vector<bool> isErased; ///< Whether rpm would take it away: neither a directory, which it leaves when
                                ///< that holds anything, nor what it never put there.
};

/// Reads the record, with all names of a hard-linked file, as rpm has them. Raises as Reader::tag() and
/// FileIterator do.
InstalledApplication readApplication(const Common::Rpm::Reader &record, const std::string &keyId,
                                     const std::optional<std::string> &orgName,
                                     const std::optional<std::string> &appName);

} // namespace Core::KELP
