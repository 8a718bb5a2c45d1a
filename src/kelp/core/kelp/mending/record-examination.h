#pragma once

#include "kelp/core/kelp/mending/finding.h"

#include <vector>

namespace Core {
class IConfiguration;
}

namespace Core::KELP {

/// What is wrong with the registry, the bindings to sources, the files that were rescued and those that a
/// killed run has left. By package within each.
std::vector<Finding> examineRecords(const IConfiguration &configuration);

} // namespace Core::KELP
