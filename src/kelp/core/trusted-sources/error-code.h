#pragma once

#include <cstdint>

namespace Core::TrustedSources {

/// What kind of thing went wrong with trusted sources. The numbers are shared with other programs of the
/// platform; this system raises Internal alone.
enum class ErrorCode : std::uint32_t {
    Internal = 0,
    SourceNotFound = 1,
    UnauthorizedAccess = 2,
    PackagesWithoutSourceNotAllowed = 3,
    SourceRejectedByAdministrator = 4,
    UserNotAuthorizedToManageTrustedSources = 5,
    SourceNotAllowed = 6,
};

} // namespace Core::TrustedSources
