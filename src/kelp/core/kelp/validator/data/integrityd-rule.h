#pragma once

#include "kelp/core/kelp/validator/framework/message.h"

#include <cstdint>
#include <string>
#include <vector>

namespace Validator {

/// The findings on the configuration of the integrity daemon.
enum class IntegritydRule : std::uint32_t {
    ContentMismatch = 0,
    InvalidJson = 1,
};

Message messageOf(IntegritydRule rule, const std::vector<std::string> &strings);

} // namespace Validator
