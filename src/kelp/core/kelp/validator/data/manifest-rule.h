#pragma once

#include "kelp/core/kelp/validator/framework/message.h"

#include <cstdint>
#include <string>
#include <vector>

namespace Validator {

/// The findings on a manifest. "key" says that argument 0 is the key.
enum class ManifestRule : std::uint32_t {
    InvalidJson = 0,
    UnknownKey = 1, ///< key
    WrongType = 2,  ///< key
    VersionMissing = 3,
    VersionInvalid = 4,
    VersionIncompatible = 5,
};

Message messageOf(ManifestRule rule, const std::vector<std::string> &strings);

} // namespace Validator
