#pragma once

#include "kelp/core/common/errors/error-category.h"

#include <exception>
#include <string>
#include <system_error>

namespace Common {

/// The one exception of the system: a code that says what kind of thing went wrong and a text, composed where
/// it went wrong, that says what exactly. Paths stand plain in the text.
class Error : public std::system_error {
public:
    /// Takes a code of either error category. The base holds the category's fixed message and none of
    /// `message`.
    Error(std::error_code code, std::string message);

    /// The same with a code of Common::ErrorCategory.
    Error(ErrorCode code, std::string message);

    /// For what the system refused: `systemError` is its errno.
    Error(ErrorCode code, std::string message, int systemError);

    /// The text as given to the constructor: no category, no number, no fixed message.
    const char *what() const noexcept override { return message_.c_str(); }

    /// What the system answered, or what was found in place of that; empty when it was not asked, or nobody
    /// has kept the answer.
    const std::string &systemReason() const { return systemReason_; }

    /// Keeps why, for people.
    Error because(std::string reason) &&;

    /// Keeps the errno of the failure that this one is raised for.
    Error causedBy(const std::exception &failure) &&;

    /// That errno; 0 when the system was not asked, or nobody has kept it.
    int systemError() const { return systemError_; }

private:
    std::string message_;
    std::string systemReason_;
    int systemError_ = 0;
};

/// The errno that an exception tells of, whatever its type; 0 for one that tells of none.
int systemErrorOf(const std::exception &failure);

/// The text of an exception for people: after that of an Error stands what the system answered, "TEXT: No
/// space left on device".
std::string explainedText(const std::exception &error);

} // namespace Common
