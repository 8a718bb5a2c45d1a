#pragma once

#include "kelp/core/kelp/package/package-information.h"

namespace Core::KELP {

class IDatabasePathResolver;

// The configuration of the integrity daemon for one package. The old file is etc/integrityd/config.d/ID.json
// below the root prefix, the new one lies among the resources of the package's current version.

/// Writes the integrity daemon's file among the resources of the package's current version. Makes it from the
/// old file in etc/integrityd/config.d, which stays. In paths of the organisation's shared directory it
/// inserts the developer's key; it does not parse the text. Does nothing for a package without an
/// organisation, without a key or without an old file. Raises ErrorCode::Filesystem: "Failed to open resource
/// integrityd file", "Failed to read resource integrityd file", "Failed to create resource integrityd file",
/// and as Common::createDirectories() and Common::flushFile() do. After a failed write the new file may be
/// incomplete; a repeated call writes it again.
void migrateIntegrityFile(const PackageInformation &information);

/// The text that the resource has when `source` is the file that it is made from; nothing for a package
/// without an organisation or a key. Raises as migrateIntegrityFile() does.
std::optional<std::string> integrityResourceText(const PackageInformation &information,
                                                 const std::filesystem::path &source);

/// Removes the resource of the current version, if there is one. Raises ErrorCode::Filesystem when it cannot;
/// a failed look is logged, and counts as absence.
void removeIntegrityResource(const IDatabasePathResolver &pathResolver, const std::string &id);

} // namespace Core::KELP
