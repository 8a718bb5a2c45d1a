#pragma once

namespace Core {
class Configuration;
}

namespace Launcher {

/// Moves the applications of the rpm database into the store, then binds each installed package to the source
/// of its client certificate in the trusted-sources database, or to the reserved source ".no.source.apps". A
/// package that comes after the other migrations gets their work done at once. A failure at one package is
/// logged. Throws when the store's migration fails, when the signature database cannot be used, and for
/// exceptions other than Common::Error. Also throws, when all else is done, for an application that could not
/// arrive.
void migrateRpmToStore(Core::Configuration &configuration);

/// Moves the organisations' shared data to directories that name the developer key as well. A package whose
/// data cannot be moved is logged. Throws when the packages or the users cannot be listed; then nothing has
/// moved. Also throws when the moves cannot be flushed; the next start repeats them.
void migrateOrganisationsToSkid(Core::Configuration &configuration);

/// Gives each installed package the resource for the integrity daemon. Throws at the first failure; the next
/// run starts again from the first package.
void migrateIntegrityConfiguration(Core::Configuration &configuration);

} // namespace Launcher
