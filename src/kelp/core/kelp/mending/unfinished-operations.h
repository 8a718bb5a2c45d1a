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

// The ends of an installation and of a removal, which an examination reaches as well after a kill. The files
// that name what was begun are those of records-view.h.

/// Has registry and sources know of an installed version. Returns whether the registry does; the binding is
/// made in any case. Raises as bindToItsSource() does.
bool recordInstallation(const IConfiguration &configuration, RegistryEvent event,
                        const PackageInformation &information);

/// Has the records follow an installation that was interrupted after the store had the version, if that is
/// still current, and forgets it. Killed, it is done again. Raises what the records do, and then forgets
/// nothing.
void completeInstallation(const IConfiguration &configuration);

/// Completes the removal that its file names, if there is one. Returns what is left in the package's
/// directory, which is somebody else's. After any failure the file stays, and the next removal or examination
/// goes on with it. Raises ErrorCode::Filesystem "Couldn't add a package removal record to the registry: ID",
/// and what the store raises.
std::vector<std::filesystem::path> completeRemoval(const IConfiguration &configuration);

} // namespace Core::KELP
