// Moves a machine to the package store, once; see kelp-launcher(8).

#include "kelp/core/common/configuration.h"
#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/errors/log-stream.h"
#include "kelp/core/common/files/file-descriptor.h"
#include "kelp/core/common/places.h"
#include "kelp/core/common/rpm/initialise.h"
#include "kelp/core/common/stop-signals.h"
#include "kelp/core/common/writer-lock.h"
#include "kelp/core/kelp/package/migration-stamps.h"
#include "launcher/migration-driver.h"
#include "launcher/migrations.h"

#include <sys/stat.h>

#include <algorithm>
#include <optional>

using namespace Launcher;

namespace {

/// A start that finds all stamps does not wait. Without the lock it does nothing: another process may hold
/// it.
void migrateLocked(const std::vector<Migration> &migrations) {
    std::optional<Common::WriterLock> lock;
    try {
        if (!std::ranges::all_of(migrations, isDone))
            lock.emplace(Common::WriterLock::Wait::Yes);
    } catch (const std::exception &error) {
        Common::LogStream(Common::LogLevel::Error) << Common::explainedText(error);
        return;
    }
    Core::Configuration configuration;
    runMigrations(migrations, configuration);
}

Migration migrationOf(const Core::KELP::MigrationStamp &stamp, void (*migrate)(Core::Configuration &)) {
    const auto root = Common::rootPath();
    return {stamp.name, root / stamp.path, migrate, stamp.pending ? root / stamp.pending : ""};
}

} // namespace

int main() {
    Common::holdStandardDescriptors();
    // An inherited umask could make a store that no user can read, or that everybody can write.
    ::umask(022);
    Common::Rpm::giveBackLargeBlocks();
    Common::deferStopSignals();
    Common::ignoreBrokenPipes();
    // librpm's own lines have no priority: the journal would take its errors for information.
    if (Common::isOutputTheJournal())
        Common::Rpm::logLibrary();
    const std::vector<Migration> migrations = {
        migrationOf(Core::KELP::rpmToStoreStamp, migrateRpmToStore),
        migrationOf(Core::KELP::organisationsToSkidStamp, migrateOrganisationsToSkid),
        migrationOf(Core::KELP::integrityConfigurationStamp, migrateIntegrityConfiguration),
    };
    migrateLocked(migrations);
    // Even after failures: the start of the machine waits for this, and kelp-status.service reports the
    // remaining work.
    return 0;
}
