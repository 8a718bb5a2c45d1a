#pragma once

#include "kelp/core/kelp/validator/framework/message.h"

#include <vector>

namespace Validator {

/// Every finding that there is, in the order of the stages and their checkers.
std::vector<CatalogueEntry> allFindings();

} // namespace Validator
