#pragma once

#include "kelp/core/kelp/package/package-information.h"
#include "kelp/core/kelp/registry/registry-record.h"

#include <filesystem>
#include <string>
#include <vector>

namespace Core {
class IConfiguration;
}

namespace Core::KELP {

// The last steps of an installation and of a removal; after a kill an examination takes them. records-view.h
// has the files that name unfinished operations.

/// Records an installed version in registry and sources. Returns whether the registry does; the binding is
/// made in any case. Raises as bindToItsSource() does.
bool recordInstallation(const IConfiguration &configuration, RegistryEvent event,
                        const PackageInformation &information);

/// Records an interrupted installation if its version is current, and removes its note. After a kill it is
/// repeated. Raises what the records raise, and then the note stays.
void completeInstallation(const IConfiguration &configuration);

/// Completes the removal that its note (removalFile()) names, if there is one. Returns the foreign entries
/// left in the package's directory. After any failure the note stays, and the next removal or examination
/// repeats the steps. Raises ErrorCode::Filesystem "Couldn't add a package removal record to the registry:
/// ID", and what the store raises.
std::vector<std::filesystem::path> completeRemoval(const IConfiguration &configuration);

/// The same for a killed removal. Only logs what requireNothingPublished() raises: no caller waits for it.
void resumeRemoval(const IConfiguration &configuration);

/// With a foreign directory in place of the link `current`, links that a removed package published through it
/// still work. Raises ErrorCode::Internal, and names them.
void requireNothingPublished(const IConfiguration &configuration, const std::string &id);

} // namespace Core::KELP
