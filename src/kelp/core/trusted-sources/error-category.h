#pragma once

#include "kelp/core/trusted-sources/error-code.h"

#include <cstdint>
#include <string_view>
#include <system_error>

namespace Common {
struct ErrorDescription;
}

namespace Core::TrustedSources {

/// The error category of the trusted sources. It is apart from Common::ErrorCategory: nothing maps one to the
/// other.
class ErrorCategory {
public:
    /// Its name() is "Core::TrustedSources::ErrorCategory"; message() of an unknown code is that of Internal.
    static const std::error_category &instance();

    static std::error_code make(ErrorCode code);

    /// An unknown code keeps its number and takes the name of Internal.
    static Common::ErrorDescription describeCode(std::int32_t code);

    /// The code of a full error name, or that of Internal for an unknown name.
    static Common::ErrorDescription describeName(std::string_view name);
};

} // namespace Core::TrustedSources
