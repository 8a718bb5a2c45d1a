#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace Core {
class Configuration;
}

namespace Launcher {

/// A migration that is done once in the life of a machine.
struct Migration {
    std::string name;
    std::filesystem::path stampPath;                     ///< An empty file that says that it is done.
    std::function<void(Core::Configuration &)> callback; ///< Fails by throwing.
    std::filesystem::path pendingPath = {}; ///< While this file may exist, it runs again despite the stamp.
};

/// Whether the migration has left its stamp, and no work is left. After a failed look it counts as not done;
/// runMigrations() logs a failed look for the stamp.
bool isDone(const Migration &migration);

/// Carries out the migrations that are not done (isDone()), in order, and makes the stamp of each whose
/// callback returns. If one throws a standard exception, that is logged, the migration gets no stamp, and the
/// others still run. Any other exception passes. If a stamp cannot be written, its migration runs again at
/// the next start. Does not make the directory of the stamps. After a stop is requested (stop-signals.h), no
/// further migration is begun.
void runMigrations(const std::vector<Migration> &migrations, Core::Configuration &configuration);

} // namespace Launcher
