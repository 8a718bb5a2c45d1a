#include "kelp/core/common/errors/error.h"

#include "kelp/core/common/errors/error-category.h"
#include "kelp/core/common/errors/log-stream.h"

#include <cerrno>
#include <new>
#include <utility>

namespace Common {

Error::Error(std::error_code code, std::string message) :
    std::system_error(code), message_(withNames(std::move(message))) {}

Error::Error(ErrorCode code, std::string message) : Error(ErrorCategory::make(code), std::move(message)) {}

Error::Error(ErrorCode code, std::string message, int systemError) : Error(code, std::move(message)) {
    systemReason_ = std::generic_category().message(systemError);
    systemError_ = systemError;
}

Error Error::because(std::string reason) && {
    systemReason_ = std::move(reason);
    return std::move(*this);
}

Error Error::causedBy(const std::exception &failure) && {
    systemError_ = systemErrorOf(failure);
    return std::move(*this);
}

int systemErrorOf(const std::exception &failure) {
    if (const auto *own = dynamic_cast<const Error *>(&failure))
        return own->systemError();
    if (dynamic_cast<const std::bad_alloc *>(&failure))
        return ENOMEM;
    const auto *system = dynamic_cast<const std::system_error *>(&failure);
    const bool isErrno = system && (system->code().category() == std::generic_category() ||
                                    system->code().category() == std::system_category());
    return isErrno ? system->code().value() : 0;
}

std::string explainedText(const std::exception &error) {
    const auto *own = dynamic_cast<const Error *>(&error);
    const std::string reason = own ? own->systemReason() : "";
    return withNames(error.what()) + (reason.empty() ? "" : ": " + reason);
}

} // namespace Common
