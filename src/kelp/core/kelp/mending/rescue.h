#pragma once

#include <filesystem>
#include <string>

namespace Core {
class IConfiguration;
}

namespace Core::KELP {

/// Why the files of a package that could not be published still cannot be; empty when they can.
std::string rescueObstacle(const IConfiguration &configuration, const std::filesystem::path &tree);

/// Brings such a tree into the store and publishes it. A kill at any call leaves the tree where it was, or an
/// unfinished installation that goes on later. Raises what FSDatabase::install() raises.
void installRescued(const IConfiguration &configuration, const std::filesystem::path &tree);

} // namespace Core::KELP
