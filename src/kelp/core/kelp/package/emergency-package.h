#pragma once

#include "kelp/core/kelp/package/package-information.h"

#include <memory>

namespace Core::KELP {

class Package;

/// The package of a descriptor whose package file is gone. It has its identity and its developer's signature;
/// staging it raises ErrorCode::Internal. Null when the descriptor lacks a required key.
std::shared_ptr<Package> makeEmergencyPackage(const PackageInformation &information);

} // namespace Core::KELP
