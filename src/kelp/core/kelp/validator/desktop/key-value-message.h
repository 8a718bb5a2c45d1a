#pragma once

#include "kelp/core/kelp/validator/framework/message.h"

#include <cstdint>

namespace Validator {

/// The findings on a group of mandatory keys with fixed values. The arguments stand behind each.
enum class KeyValueMessage : std::uint32_t {
    KeyInvalid = 0,   ///< key, group
    ValueInvalid = 1, ///< value, key
    KeyMissing = 2,   ///< key, group
};

Message messageOf(KeyValueMessage message, const std::vector<std::string> &strings);

} // namespace Validator
