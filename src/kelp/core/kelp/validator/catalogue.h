#pragma once

#include "kelp/core/kelp/validator/framework/checker.h"
#include "kelp/core/kelp/validator/framework/message.h"

#include <vector>

namespace Validator {

/// Every finding that there is, in the order of the stages and their checkers.
std::vector<CatalogueEntry> allFindings();

class Config;

/// Every rule of a profile's checkers, sorted by topic, status and text.
Rules allRules(const Config &config);

} // namespace Validator
