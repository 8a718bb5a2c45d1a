#include "kelp/core/common/errors/error.h"

#include "kelp/core/common/errors/error-category.h"

#include <utility>

namespace Common {

Error::Error(std::error_code code, std::string message) :
    std::system_error(code), message_(std::move(message)) {}

Error::Error(ErrorCode code, std::string message) : Error(ErrorCategory::make(code), std::move(message)) {}

Error::Error(ErrorCode code, std::string message, int systemError) : Error(code, std::move(message)) {
    systemReason_ = std::generic_category().message(systemError);
}

std::string explainedText(const std::exception &error) {
    const auto *own = dynamic_cast<const Error *>(&error);
    const std::string reason = own ? own->systemReason() : "";
    return error.what() + (reason.empty() ? "" : ": " + reason);
}

} // namespace Common
