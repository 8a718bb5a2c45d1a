#pragma once

#include <map>
#include <string>

namespace Core::KELP {

/// What a descriptor says of a version, keyed by section and key: "general.id", "certificate.id" and so on.
/// docs/formats.md lists the keys.
using PackageInformation = std::map<std::string, std::string>;

} // namespace Core::KELP
