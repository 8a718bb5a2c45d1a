#pragma once

#include "kelp/core/kelp/validator/framework/message.h"

#include <cstdint>
#include <string>
#include <vector>

namespace Validator {

/// The finding on configuration parameter files. Argument 0 is the path of the file.
enum class ConfigurationParameterFileRule : std::uint32_t {
    Invalid = 0,
};

Message messageOf(ConfigurationParameterFileRule rule, const std::vector<std::string> &strings);

} // namespace Validator
