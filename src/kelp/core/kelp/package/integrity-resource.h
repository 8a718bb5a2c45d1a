#pragma once

#include "kelp/core/kelp/package/package-information.h"

namespace Core::KELP {

class IDatabasePathResolver;

// The configuration of the integrity daemon for one package, which moves from etc/integrityd/config.d/ID.json
// below the root prefix to the resources of the package's current version.

/// Writes the resource from the old file, with the paths of the organisation's shared directory made to name
/// the developer's key as well. The text is not parsed. Nothing happens for a package without an organisation
/// or without an old file, which stays. Raises ErrorCode::Filesystem: "Failed to open resource integrityd
/// file", "Failed to read resource integrityd file", "Failed to create resource integrityd file"; the last
/// leaves a resource of undefined content, to be written again.
void migrateIntegrityFile(const PackageInformation &information);

/// The text that the resource has when `source` is the file that it is made from; nothing for a package
/// without an organisation. Raises as migrateIntegrityFile() does.
std::optional<std::string> integrityResourceText(const PackageInformation &information,
                                                 const std::filesystem::path &source);

/// Removes the resource of the current version, if there is one. Raises ErrorCode::Filesystem when it cannot.
void removeIntegrityResource(const IDatabasePathResolver &pathResolver, const std::string &id);

} // namespace Core::KELP
