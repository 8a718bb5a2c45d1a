#pragma once

namespace Core {
class Configuration;
}

namespace Launcher {

/// Moves the applications of the rpm database into the store. A package may arrive after the other migrations
/// were done; their work for it is done at once. Then each package with a client certificate is bound, in the
/// trusted-sources database, to the source of that certificate. Each other installed package is bound to the
/// reserved source ".no.source.apps". Bindings that exist stay. A failure at one package is logged, and so is
/// a failure of the whole trusted-sources database: `kelpctl doctor` finds packages without a binding.
///
/// Throws when the take-over as a whole fails, and when the packages cannot be listed or the signature
/// database cannot be used. Also throws if a failure, not a conflict, kept an application from arriving, or a
/// package could not be read, but only after all others are bound.
void migrateRpmToStore(Core::Configuration &configuration);

/// Moves the organisations' shared data to directories named after organisation and developer key. Logs a
/// package whose data cannot be moved; that alone causes no retry. Throws when a package cannot be read, or
/// when the packages, their published files, rpm's files or the users cannot be listed; then nothing has
/// moved. Throws when a home could not be looked at, or when a home, "home/", "srv/" or "usr/share/common/"
/// is a link that leads nowhere; then the other data has moved. Throws when the moves cannot be flushed.
/// After a throw, the next start tries all moves again.
void migrateOrganisationsToSkid(Core::Configuration &configuration);

/// Gives each installed package that needs it the resource for the integrity daemon, as
/// Core::KELP::migrateIntegrityFile() does. Throws at the first failure, or at the end if a package could not
/// be read. The next run starts again from the first package.
void migrateIntegrityConfiguration(Core::Configuration &configuration);

} // namespace Launcher
