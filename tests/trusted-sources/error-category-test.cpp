#include "kelp/core/trusted-sources/error-category.h"

#include "kelp/core/common/error-table.h"

#include <gtest/gtest.h>

namespace {

using namespace Core::TrustedSources;

TEST(TrustedSourcesErrorCategory, FallsBackToInternal) {
    const auto &category = ErrorCategory::instance();
    EXPECT_STREQ(category.name(), "Core::TrustedSources::ErrorCategory");
    EXPECT_EQ(category.message(4),
              "The administrator declined the request to add a source to the trusted list");
    for (const int unassigned : {-1, 0, 7, 31})
        EXPECT_EQ(category.message(unassigned), "Internal error occurred") << unassigned;
}

TEST(TrustedSourcesErrorCategory, DescribesCodesAndNamesOfItsOwn) {
    const auto known = ErrorCategory::describeCode(6);
    EXPECT_EQ(known.name, "io.tvk.KELP.TrustedSources.Error.SourceNotAllowed");
    EXPECT_EQ(known.shortName, "SourceNotAllowed");

    const auto unknown = ErrorCategory::describeCode(31);
    EXPECT_EQ(unknown.code, 31);
    EXPECT_EQ(unknown.shortName, "Internal");

    EXPECT_EQ(ErrorCategory::describeName("io.tvk.KELP.TrustedSources.Error.SourceNotFound").code, 1);
    // The store's error of the same short name is a stranger here.
    EXPECT_EQ(ErrorCategory::describeName("io.tvk.KELP.Error.SourceNotAllowed").code, 0);
}

} // namespace
