#include "kelp/core/trusted-sources/error-category.h"

#include "kelp/core/common/category-of-rows.h"

#include <gtest/gtest.h>

namespace {

using Core::TrustedSources::ErrorCategory;

TEST(TrustedSourcesErrorCategory, KnowsItsOwnErrorsAndFallsBackToInternal) {
    EXPECT_STREQ(ErrorCategory::instance().name(), "Core::TrustedSources::ErrorCategory");
    for (const auto &[code, shortName] :
         {std::pair(6, "SourceNotAllowed"), {0, "Internal"}, {7, "Internal"}, {-1, "Internal"}})
        EXPECT_EQ(ErrorCategory::describeCode(code).shortName, shortName) << code;
    EXPECT_EQ(ErrorCategory::instance().message(7), "Internal error occurred");
    EXPECT_EQ(ErrorCategory::describeName("io.tvk.KELP.TrustedSources.Error.SourceNotFound").code, 1);
    // The store's error of the same short name is a stranger here.
    EXPECT_EQ(ErrorCategory::describeName("io.tvk.KELP.Error.SourceNotAllowed").code, 0);
}

} // namespace
