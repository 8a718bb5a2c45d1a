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
/// The package's last record in the registry must have the key of the developer's certificate. The version's
/// desktop file, which gives the names of organisation and application, must have the content that was listed
/// at the staging. Raises what the readers of the certificates, the registry, the list of contents and the
/// desktop file raise.
std::optional<PackageForMigration> lostDescriptor(const std::filesystem::path &versionDirectory,
                                                  const std::string &id, const std::string &version);

} // namespace Core::KELP
