#pragma once

namespace Core {
class Configuration;
}

namespace Launcher {

/// Moves the applications of the rpm database into the store. Then binds each installed package, in the
/// trusted-sources database, to the source of its client certificate, or to the reserved source
/// ".no.source.apps". For a package that arrives after the other migrations were done, does their work at
/// once. A failure at one package is logged. Throws when the take-over as a whole fails, and when the
/// signature database cannot be used. Also throws, after everything else, if an application could not arrive,
/// or a package could not be read.
void migrateRpmToStore(Core::Configuration &configuration);

/// Moves the organisations' shared data to directories that name the developer key as well. Logs a package
/// whose data cannot be moved. Throws when the packages, rpm's files or the users cannot be listed; then
/// nothing has moved. Also throws when the moves cannot be flushed; the next start repeats them.
void migrateOrganisationsToSkid(Core::Configuration &configuration);

/// Gives each installed package the resource for the integrity daemon. Throws at the first failure; the next
/// run starts again from the first package.
void migrateIntegrityConfiguration(Core::Configuration &configuration);

} // namespace Launcher
