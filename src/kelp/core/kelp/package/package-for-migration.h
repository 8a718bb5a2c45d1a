#pragma once

#include "kelp/core/kelp/package/package-information.h"
#include "kelp/core/kelp/package/package-staging.h"

namespace Core::KELP {

/// A staged version with the values that its descriptor gets beside the staging's own.
struct PackageForMigration : PackageStaging {
    PackageInformation extras;
};

} // namespace Core::KELP
