#pragma once

#include "kelp/core/kelp/validator/framework/rule.h"

namespace Validator {

class Config;

/// Every row that a checker holds packages of a profile against, sorted by topic, status and text.
Rules allRules(const Config &config);

} // namespace Validator
