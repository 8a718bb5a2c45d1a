#pragma once

#include "kelp/core/kelp/package/package-information.h"
#include "kelp/core/kelp/registry/registry-record.h"
#include "kelp/core/trusted-sources/i-database.h"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace Core {
class IConfiguration;
}

namespace Core::KELP {

// The records of a package beside the store: its binding to a source, and its lines in the registry.

/// The source that sold a package, by its client certificate; nothing without one. Raises as
/// Certificates::of(), and ErrorCode::Filesystem where there is no signature database.
std::optional<TrustedSources::Source> certifiedSource(const std::string &id);

/// The key of the developer's certificate; nothing without one. Raises as Certificates does.
std::optional<std::string> developerKey(const std::string &id);

/// Binds a package to the source of its client certificate, or, without one, to the reserved source. Replaces
/// an earlier binding, and adds the source if the database lacks it. Adding the reserved source also allows
/// packages without a source (SQLiteDatabase::addMissingSource()). All this is one transaction. Raises as
/// certifiedSource(), createPrivateDirectory() and the database of sources do; then the binding is unchanged.
void bindToItsSource(const IConfiguration &configuration, const std::string &id);

/// The record of an event of now, with the keys of a descriptor. Throws std::out_of_range without
/// "general.id" or "certificate.id".
RegistryRecord recordOf(RegistryEvent event, const PackageInformation &information);

/// The last record of a package, of any keys. Raises as registryRecords() does.
std::optional<RegistryRecord> lastRecord(const std::string &id);

// The last steps of an installation and of a removal; after a kill an examination takes them. records-view.h
// has the files that name unfinished operations.

/// Records an installed version in registry and sources. Returns whether the registry does; the binding is
/// made in any case. Raises as bindToItsSource() does.
bool recordInstallation(const IConfiguration &configuration, RegistryEvent event,
                        const PackageInformation &information);

/// Records an interrupted installation if its version is current and has a descriptor of its own. Then, or if
/// there is nothing to record, removes its note. After a kill it is repeated. Raises what the records raise,
/// and ErrorCode::Filesystem if the package cannot be looked at or the registry cannot be written. After such
/// a failure the note stays.
void completeInstallation(const IConfiguration &configuration);

/// Completes the removal that its note (removalFile()) names, if there is one. Returns the foreign entries
/// left in the package's directory, or that path itself if a foreign entry stands there. Raises
/// ErrorCode::Filesystem "Couldn't add a package removal record to the registry: ID", and what the readers of
/// the records, the store, takeBackStrays() and the database of sources raise. Raises ErrorCode::Filesystem
/// also if this note, or that of the package's installation, cannot be removed. After a failure the next
/// removal or `kelpctl doctor --repair` repeats the steps, as long as the removal's note exists.
std::vector<std::filesystem::path> completeRemoval(const IConfiguration &configuration);

/// The same for a killed removal. Only logs files that stay published: no caller waits for that.
void resumeRemoval(const IConfiguration &configuration);

/// With a foreign directory in place of the link `current`, links that a removed package published through it
/// still work. Raises ErrorCode::Internal, and names them. Also raises as placesOfMappings() does.
void requireNothingPublished(const IConfiguration &configuration, const std::string &id);

} // namespace Core::KELP
