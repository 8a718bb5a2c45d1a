#pragma once

#include "kelp/core/kelp/validator/framework/message.h"

#include <cstdint>
#include <string>
#include <vector>

namespace Validator {

/// The finding on icons. Argument 0 is the path of the icon.
enum class IconRule : std::uint32_t {
    WrongOrMissing = 0,
};

Message messageOf(IconRule rule, const std::vector<std::string> &strings);

} // namespace Validator
