#pragma once

#include "kelp/core/common/errors/error-category.h"
#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/errors/log-stream.h"

#include <string>
#include <utility>

namespace Common {

/// Runs `operation` and returns its result. If `operation` throws a std::exception, logs the text of that
/// exception at `level`, and raises Error(code, message). That error keeps nothing of the first exception but
/// its errno. An exception of any other type passes through.
template<class Operation>
auto reraiseAs(std::error_code code, std::string message, const Operation &operation,
               LogLevel level = LogLevel::Error) {
    try {
        return operation();
    } catch (const std::exception &error) {
        LogStream(level) << error;
        throw Error(code, std::move(message)).causedBy(error);
    }
}

/// The same with a code of Common::ErrorCategory.
template<class Operation>
auto reraiseAs(ErrorCode code, std::string message, const Operation &operation,
               LogLevel level = LogLevel::Error) {
    return reraiseAs(ErrorCategory::make(code), std::move(message), operation, level);
}

} // namespace Common
