#pragma once

namespace Core {
class Configuration;
}

namespace Launcher {

/// Moves the applications of the rpm database into the store, then binds each installed package to the source
/// of its client certificate in the trusted-sources database, or to the reserved source ".no.source.apps".
/// A package that comes when the
/// other migrations are done gets at once what they would have done for it. What fails for one package is
/// logged. Throws when the store's migration fails, when the signature database cannot be used, and for
/// exceptions that are no Common::Error; and, when all else is done, for an application that could not
/// arrive.
void migrateRpmToStore(Core::Configuration &configuration);

/// Moves the organisations' shared data to directories that name the developer key as well. A package whose
/// data cannot be moved is logged. Throws when the packages or the users cannot be listed, and nothing has
/// moved then; and when the moves cannot be flushed, to be repeated.
void migrateOrganisationsToSkid(Core::Configuration &configuration);

/// Gives each installed package the resource for the integrity daemon. Throws at the first package for which
/// that fails; the next run starts again from the first package.
void migrateIntegrityConfiguration(Core::Configuration &configuration);

} // namespace Launcher
