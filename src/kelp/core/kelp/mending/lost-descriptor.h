#pragma once

#include "kelp/core/kelp/package/package-information.h"

#include "platform/package-signatures/certificate.h"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace Core::KELP {

/// The values of a descriptor that come from the developer's certificate, with the developer's earlier keys.
PackageInformation developerValues(const PackageSignatures::Certificate &certificate,
                                   const std::vector<std::string> &previousKeys);

/// The values of a lost descriptor of a version in the store; nothing unless the machine proves all of them.
/// The package's last record in the registry must have the key of its certificate. The version's desktop
/// file, from which the names come, must have the content that the list of contents has. Raises as the
/// readers of these do.
std::optional<PackageForMigration> lostDescriptor(const std::filesystem::path &versionDirectory,
                                                  const std::string &id, const std::string &version);

} // namespace Core::KELP
