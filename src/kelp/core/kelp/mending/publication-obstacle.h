#pragma once

#include "kelp/core/kelp/package/package-information.h"

#include <filesystem>
#include <string>

namespace Core {
class IConfiguration;
}

namespace Core::KELP {

/// What keeps the files of a version, with the descriptor's values `information`, from being published in
/// place of those that the package has published by now; empty when nothing does. To be asked before a
/// version is made current: when neither it nor the one before can be published, the store removes both.
/// `tree` is the version's directory, or the one in which it is staged. Raises ErrorCode::Filesystem when
/// that cannot be read.
std::string publicationObstacle(const IConfiguration &configuration, const std::filesystem::path &tree,
                                const PackageInformation &information);

} // namespace Core::KELP
