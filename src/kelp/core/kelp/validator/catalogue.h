#pragma once

#include "kelp/core/kelp/validator/framework/checker.h"
#include "kelp/core/kelp/validator/framework/message.h"

#include <vector>

namespace Validator {

/// The findings of all catalogues, in the order of the catalogues.
std::vector<CatalogueEntry> allFindings();

class Config;

/// The rules of a profile that its checkers hold in tables, sorted by topic, status and text.
Rules allRules(const Config &config);

} // namespace Validator
