#pragma once

#include "kelp/core/common/errors/category-of-rows.h"

#include <cstdint>

namespace Core::TrustedSources {

/// The kind of a failure of the trusted sources. The numbers are shared with other programs of the platform;
/// this system raises Internal alone.
enum class ErrorCode : std::uint32_t {
    Internal = 0,
    SourceNotFound = 1,
    UnauthorizedAccess = 2,
    PackagesWithoutSourceNotAllowed = 3,
    SourceRejectedByAdministrator = 4,
    UserNotAuthorizedToManageTrustedSources = 5,
    SourceNotAllowed = 6,
};

/// The error category of the trusted sources. It is apart from Common::ErrorCategory: nothing maps one to the
/// other. Its name() is "Core::TrustedSources::ErrorCategory", and a code without a row counts as Internal.
using ErrorCategory = Common::CategoryOfRows<ErrorCode>;

} // namespace Core::TrustedSources

template<>
const Common::RowsCategory &Core::TrustedSources::ErrorCategory::rows();
