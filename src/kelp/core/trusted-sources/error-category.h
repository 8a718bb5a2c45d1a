#pragma once

#include "kelp/core/common/category-of-rows.h"
#include "kelp/core/trusted-sources/error-code.h"

namespace Core::TrustedSources {

/// The error category of the trusted sources. It is apart from Common::ErrorCategory: nothing maps one to the
/// other. Its name() is "Core::TrustedSources::ErrorCategory", and what no row holds counts as Internal.
using ErrorCategory = Common::CategoryOfRows<ErrorCode>;

} // namespace Core::TrustedSources

template<>
const Common::RowsCategory &Core::TrustedSources::ErrorCategory::rows();
