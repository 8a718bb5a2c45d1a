#pragma once

#include "kelp/core/kelp/package/package-information.h"

#include <filesystem>
#include <string>

namespace Core {
class IConfiguration;
}

namespace Core::KELP {

/// Why the files of a version, with the descriptor's values `information`, cannot be published in place of
/// the package's present ones; empty when they can. Ask before a version is made current: if neither it nor
/// its predecessor can be published, the store removes both. `tree` is the version's directory, or its
/// staging directory. Raises ErrorCode::Filesystem when that cannot be read.
std::string publicationObstacle(const IConfiguration &configuration, const std::filesystem::path &tree,
                                const PackageInformation &information);

} // namespace Core::KELP
