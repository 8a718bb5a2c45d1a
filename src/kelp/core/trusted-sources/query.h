#pragma once

#include "kelp/core/common/errors/reraise-as.h"
#include "kelp/core/trusted-sources/error-category.h"

#include <SQLiteCpp/Statement.h>

#include <stdexcept>
#include <string>

namespace Core::TrustedSources {

// Helpers for running statements, for this folder.

/// Runs `operation`; a standard exception is logged and becomes Error(Internal, message).
template<class Operation>
auto orRaiseInternal(const char *message, const Operation &operation) {
    return Common::reraiseAs(ErrorCategory::make(ErrorCode::Internal), message, operation);
}

/// Steps to a row that must exist.
inline void requireRow(SQLite::Statement &query) {
    if (!query.executeStep())
        throw std::runtime_error("SQL query failed: " + query.getQuery());
}

} // namespace Core::TrustedSources
