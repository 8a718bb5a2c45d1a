#pragma once

#include "kelp/core/common/error-code.h"

#include <cstdint>
#include <string_view>
#include <system_error>

namespace Common {

struct ErrorDescription;

/// The error category of the package store; its codes are those of ErrorCode. The category object is made at
/// first use and lives until the process exits. Error conditions play no part in it.
class ErrorCategory {
public:
    /// Its name() is "Common::ErrorCategory"; message() of an unassigned code is that of ErrorCode::Internal.
    static const std::error_category &instance();

    static std::error_code make(ErrorCode code);

    /// The description for a code as another program sent it. An unassigned code keeps its number and takes
    /// the name of ErrorCode::Internal.
    static ErrorDescription describeCode(std::int32_t code);

    /// The description for a full error name: its code, or that of ErrorCode::Internal for an unknown name.
    static ErrorDescription describeName(std::string_view name);
};

} // namespace Common
