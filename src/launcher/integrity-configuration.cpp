#include "launcher/migrations.h"

#include "kelp/core/common/configuration.h"
#include "kelp/core/kelp/package/database-path-resolver.h"
#include "kelp/core/kelp/package/integrity-resource.h"
#include "kelp/core/kelp/store/fs-database.h"

namespace Launcher {

void migrateIntegrityConfiguration(Core::Configuration &configuration) {
    Core::KELP::FSDatabase store(configuration, Core::KELP::DatabasePathResolver::instance());
    // The first failure ends the walk and keeps the stamp away. The next start begins again with the first
    // package: the old files stay, so that writing twice does no harm.
    for (const Core::KELP::PackageInformation &package : store.packages())
        Core::KELP::migrateIntegrityFile(package);
    store.requireCompleteLook();
}

} // namespace Launcher
