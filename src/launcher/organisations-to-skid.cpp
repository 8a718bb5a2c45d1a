#include "launcher/migrations.h"

#include "kelp/core/common/configuration.h"
#include "kelp/core/kelp/package/database-path-resolver.h"
#include "kelp/core/kelp/skid/patterns.h"
#include "kelp/core/kelp/store/fs-database.h"
#include "kelp/core/kelp/take-over/empty-database.h"

namespace Launcher {

void migrateOrganisationsToSkid(Core::Configuration &configuration) {
    using Core::KELP::SKID::Patterns;
    Core::KELP::FSDatabase store(configuration, Core::KELP::DatabasePathResolver::instance());
    // All is listed before anything moves: what fails up to there has moved nothing.
    const auto inRpm = Patterns::sharedFilesInRpm(
        [&] { Core::KELP::requireEmptyDatabaseOf(configuration, Core::KELP::removedByRegistry()); });
    const auto packages = store.packages();
    // A package that could not be looked at may have files, or a key's directory, where another's data moves.
    store.requireCompleteLook();
    for (const auto &units : Patterns::migrationUnits(packages, inRpm))
        Patterns::migrate(units);
    // The stamp is about to say that they are done.
    Patterns::flushMoves();
}

} // namespace Launcher
