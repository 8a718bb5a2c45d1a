#pragma once

#include "kelp/core/common/errors/error-category.h"

#include <exception>
#include <string>
#include <system_error>

namespace Common {

/// The exception that operations of the core raise where they name no other: a code for the kind of failure,
/// and a text with the details, composed where it happened. Paths stand plain in the text.
class Error : public std::system_error {
public:
    /// Takes a code of either error category. The base holds the category's fixed message and none of
    /// `message`.
    Error(std::error_code code, std::string message);

    /// The same with a code of Common::ErrorCategory.
    Error(ErrorCode code, std::string message);

    /// For a failed system call: `systemError` is its errno.
    Error(ErrorCode code, std::string message, int systemError);

    /// The constructor's text, as withNames() (log-stream.h) returns it: no category, number or fixed
    /// message.
    const char *what() const noexcept override { return message_.c_str(); }

    /// The system's reason, or because()'s; empty when neither was kept.
    const std::string &systemReason() const { return systemReason_; }

    /// Keeps the reason, for people.
    Error because(std::string reason) &&;

    /// Keeps the errno of the failure that this one is raised for.
    Error causedBy(const std::exception &failure) &&;

    /// The errno; 0 when none was kept.
    int systemError() const { return systemError_; }

private:
    std::string message_;
    std::string systemReason_;
    int systemError_ = 0;
};

/// The errno of an exception of any type, ENOMEM for std::bad_alloc; 0 without one.
int systemErrorOf(const std::exception &failure);

/// The text of an exception for people. If an Error has a systemReason(), that follows the text: "TEXT: No
/// space left on device".
std::string explainedText(const std::exception &error);

} // namespace Common
