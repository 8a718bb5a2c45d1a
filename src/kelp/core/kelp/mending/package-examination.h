#pragma once

#include "kelp/core/kelp/inspection/store-view.h"
#include "kelp/core/kelp/mending/finding.h"

#include <vector>

namespace Core::KELP {

/// What is wrong with the directory of a package in the store, and with what it has published.
std::vector<Finding> examinePackage(const IConfiguration &configuration, const StoredPackage &package);

/// Completes or takes back what was begun with a package, and has its lists tell all that is published, so
/// that an update or a removal finds it whole. Raises what the store raises.
void settlePackage(const IConfiguration &configuration, const std::string &id);

} // namespace Core::KELP
