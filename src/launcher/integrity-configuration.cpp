#include "launcher/migrations.h"

#include "kelp/core/common/configuration.h"
#include "kelp/core/kelp/fs-database.h"
#include "kelp/core/kelp/package/database-path-resolver.h"
#include "kelp/core/kelp/package/integrity-resource.h"

namespace Launcher {

void migrateIntegrityConfiguration(Core::Configuration &configuration) {
    Core::KELP::FSDatabase store(configuration, Core::KELP::DatabasePathResolver::instance());
    for (const Core::KELP::PackageInformation &package : store.packages())
        Core::KELP::migrateIntegrityFile(package);
}

} // namespace Launcher
