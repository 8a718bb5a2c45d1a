#pragma once

#include "kelp/core/kelp/validator/framework/rule.h"

namespace Validator {

class Config;

/// Every rule of a profile's checkers, sorted by topic, status and text.
Rules allRules(const Config &config);

} // namespace Validator
