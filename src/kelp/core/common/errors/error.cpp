#include "kelp/core/common/errors/error.h"

#include "kelp/core/common/errors/error-category.h"

#include <utility>

namespace Common {

Error::Error(std::error_code code, std::string message) :
    std::system_error(code), message_(std::move(message)) {}

Error::Error(ErrorCode code, std::string message) : Error(ErrorCategory::make(code), std::move(message)) {}

} // namespace Common
