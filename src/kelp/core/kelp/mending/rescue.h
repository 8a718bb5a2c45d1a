#pragma once

#include <filesystem>
#include <string>

namespace Core {
class IConfiguration;
}

namespace Core::KELP {

/// Why the files of a package that could not be published still cannot be; empty when they can.
std::string rescueObstacle(const IConfiguration &configuration, const std::filesystem::path &tree);

/// Makes such a tree the current version of its package. Its files are then missing in the system, and each
/// is a finding of its own. A kill at any call leaves the tree where it was, or an unfinished installation
/// that goes on later. Raises ErrorCode::FileConflict with rescueObstacle(), and what TakeOverStore raises.
void installRescued(const IConfiguration &configuration, const std::filesystem::path &tree);

} // namespace Core::KELP
