// Brings a machine over to the package store, once. kelp-launcher(8) tells what it does.

#include "kelp/core/common/configuration.h"
#include "kelp/core/common/root-path.h"
#include "kelp/core/common/stop-signals.h"
#include "launcher/migration-driver.h"
#include "launcher/migrations.h"

#include <sys/stat.h>

using namespace Launcher;

int main() {
    // Inherited, it could make a store that no user can read, or one that everybody can write.
    ::umask(022);
    Common::deferStopSignals();
    Core::Configuration configuration;
    const std::vector<Migration> migrations = {
        {"rpm_to_kelp", Common::rootPath() / "var/lib/kelp/.migration_done", migrateRpmToStore},
        {"org_to_skid", Common::rootPath() / "var/lib/kelp/.migration_skid_done", migrateOrganisationsToSkid},
        {"new_integrityd", Common::rootPath() / "var/lib/kelp/.migration_integrityd_done",
         migrateIntegrityConfiguration},
    };
    runMigrations(migrations, configuration);
    return 0;
}
