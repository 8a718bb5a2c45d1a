#pragma once

#include "kelp/core/common/errors/error-category.h"
#include "kelp/core/common/errors/error.h"

#include <gmock/gmock.h>

#include <string>

namespace Common {

/// Lets a failed expectation on an error print both of its halves.
inline void PrintTo(const Error &error, std::ostream *stream) {
    *stream << error.code() << " \"" << error.what() << '"';
}

} // namespace Common

/// Matches a callable that throws Common::Error with this code of Common::ErrorCategory and exactly this
/// text:
///
///     EXPECT_THAT([] { Common::move("a", "b"); }, raises(ErrorCode::Filesystem, "Couldn't move a to b"));
inline auto raises(Common::ErrorCode code, const std::string &text) {
    return testing::Throws<Common::Error>(
        testing::AllOf(testing::Property("code", &Common::Error::code, Common::ErrorCategory::make(code)),
                       testing::Property("what", &Common::Error::what, testing::StrEq(text))));
}
