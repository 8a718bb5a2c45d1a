#pragma once

#include "kelp/core/common/category-of-rows.h"
#include "kelp/core/common/error-code.h"

namespace Common {

/// The error category of the package store; its codes are those of ErrorCode. Its name() is
/// "Common::ErrorCategory", and what no row holds counts as ErrorCode::Internal.
using ErrorCategory = CategoryOfRows<ErrorCode>;

template<>
const RowsCategory &ErrorCategory::rows();

} // namespace Common
