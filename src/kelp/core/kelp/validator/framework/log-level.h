#pragma once

#include <cstdint>

namespace Validator {

/// The severity of a finding.
enum class LogLevel : std::uint32_t {
    Warning = 0,  ///< Printed only.
    Error = 1,    ///< Fails the stage while validation is enabled.
    Critical = 2, ///< Fails the stage.
    Info = 3,     ///< Printed only.
};

} // namespace Validator
