#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace Core {
class Configuration;
}

namespace Launcher {

/// One thing that is done once in the life of a machine.
struct Migration {
    std::string name;
    std::filesystem::path stampPath;                     ///< An empty file there says that it was done.
    std::function<void(Core::Configuration &)> callback; ///< Fails by throwing.
    std::filesystem::path pendingPath = {}; ///< A file that has it done again, whatever the stamp says.
};

/// Whether the migration has left its stamp, and nothing to go on with. What cannot be looked at is not done.
bool isDone(const Migration &migration);

/// Carries out those migrations that have left no stamp, in order, and stamps each that returns. One that
/// throws a standard exception is logged and gets no stamp; the others run all the same. Any other exception
/// passes. A stamp that cannot be written is no failure: the migration runs again at the next start. The
/// stamps' directory is not made here. Once a stop is requested (stop-signals.h), no further one is begun.
void runMigrations(const std::vector<Migration> &migrations, Core::Configuration &configuration);

} // namespace Launcher
