#pragma once

#include <filesystem>
#include <string>

namespace Core {
class IConfiguration;
}

namespace Core::KELP {

/// Why the files of a package that could not be published still cannot be; empty when they can. A failed look
/// is such a reason.
std::string rescueObstacle(const IConfiguration &configuration, const std::filesystem::path &tree);

/// Makes the rescued tree `tree` the current version of its package. Its published files are then still
/// missing, and `kelpctl doctor` reports each by itself. A kill at any moment leaves the tree where it was,
/// or an unfinished installation, which `kelpctl doctor --repair` completes. Raises ErrorCode::FileConflict
/// with the text of rescueObstacle(), and what TakeOverStore raises.
void installRescued(const IConfiguration &configuration, const std::filesystem::path &tree);

} // namespace Core::KELP
