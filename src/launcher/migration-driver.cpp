#include "launcher/migration-driver.h"

#include "kelp/core/common/errors/log-stream.h"
#include "kelp/core/common/files/path-tests.h"
#include "kelp/core/common/stop-signals.h"

#include <fstream>

namespace Launcher {

namespace {

using Common::LogLevel;
using Common::LogStream;

void stamp(const Migration &migration) {
    try {
        // Neither flushed nor checked: without a stamp the migration runs again, and finds little to do.
        std::ofstream(migration.stampPath).close();
    } catch (const std::exception &error) {
        LogStream(LogLevel::Warning) << "Couldn't create migration stamp for '" << migration.name
                                     << "': " << error;
    }
}

bool isPending(const Migration &migration) {
    std::error_code ignored;
    const auto pending = std::filesystem::symlink_status(migration.pendingPath, ignored).type();
    return !migration.pendingPath.empty() && pending != std::filesystem::file_type::not_found;
}

void run(const Migration &migration, Core::Configuration &configuration) {
    // Unlike isDone(), this logs a failed look.
    if (Common::exists(migration.stampPath) && !isPending(migration)) {
        LogStream(LogLevel::Info) << "Migration '" << migration.name << "' already completed, skipping.";
        return;
    }
    if (Common::stopRequested()) {
        LogStream(LogLevel::Warning) << "Asked to stop before migration: " << migration.name;
        return;
    }
    try {
        // A failed migration leaves its work so far, which the next run completes.
        migration.callback(configuration);
    } catch (const std::exception &error) {
        LogStream(LogLevel::Error) << error;
        LogStream(LogLevel::Error) << "Couldn't complete migration: " << migration.name;
        return;
    }
    stamp(migration);
}

} // namespace

bool isDone(const Migration &migration) {
    std::error_code ignored;
    return std::filesystem::exists(migration.stampPath, ignored) && !isPending(migration);
}

void runMigrations(const std::vector<Migration> &migrations, Core::Configuration &configuration) {
    for (const Migration &migration : migrations)
        run(migration, configuration);
}

} // namespace Launcher
