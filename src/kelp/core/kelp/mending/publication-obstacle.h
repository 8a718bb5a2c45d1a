#pragma once

#include "kelp/core/kelp/package/package-information.h"

#include <filesystem>
#include <string>

namespace Core {
class IConfiguration;
}

namespace Core::KELP {

/// Why the files of a version cannot be published in place of the package's present ones; empty when they
/// can. `information` has the values of the version's descriptor, and `tree` is its directory or staging
/// directory. Ask before making a version current. A failed publication rolls back to the previous version,
/// which may not be publishable any more. If there is no previous version, it removes the package. Raises
/// ErrorCode::Filesystem when the tree or a target cannot be looked at.
std::string publicationObstacle(const IConfiguration &configuration, const std::filesystem::path &tree,
                                const PackageInformation &information);

} // namespace Core::KELP
