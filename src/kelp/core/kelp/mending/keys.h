#pragma once

#include "kelp/core/kelp/package/package-information.h"
#include "kelp/core/kelp/registry/registry-record.h"

#include <optional>
#include <string>
#include <vector>

namespace Core::KELP {

/// The earlier key ids of a package's developer, as its descriptor has them, in its order.
std::vector<std::string> previousKeys(const PackageInformation &information);

/// The record of an event of now, with the keys of a descriptor.
RegistryRecord recordOf(RegistryEvent event, const PackageInformation &information);

/// The last record of a package, whatever its keys.
std::optional<RegistryRecord> lastRecord(const std::string &id);

} // namespace Core::KELP
