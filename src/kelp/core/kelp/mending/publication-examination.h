#pragma once

#include "kelp/core/kelp/inspection/store-view.h"
#include "kelp/core/kelp/mending/finding.h"

#include <vector>

namespace Core::KELP {

/// What is wrong with what the current version of a package has published: each file that it ought to have,
/// and each on its list.
std::vector<Finding> examinePublication(const IConfiguration &configuration, const StoredPackage &package);

} // namespace Core::KELP
