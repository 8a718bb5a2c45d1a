#pragma once

#include "kelp/core/kelp/validator/framework/message.h"

#include <cstdint>

namespace Validator {

/// The findings on the declared capabilities. The arguments stand behind each.
enum class CapabilitiesMessage : std::uint32_t {
    KeyInvalid = 0,   ///< key, group
    ValueInvalid = 1, ///< value, key
};

/// Any other number counts as ValueInvalid.
Message messageOf(CapabilitiesMessage message, const std::vector<std::string> &strings);

} // namespace Validator
