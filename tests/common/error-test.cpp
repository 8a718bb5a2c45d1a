#include "kelp/core/common/error.h"

#include "kelp/core/common/error-category.h"
#include "kelp/core/common/error-table.h"

#include <gtest/gtest.h>

namespace {

using Common::ErrorCategory;
using Common::ErrorCode;

TEST(Error, WhatIsTheComposedTextAlone) {
    const Common::Error error(ErrorCode::FileConflict, "X");
    EXPECT_STREQ(error.what(), "X");
    EXPECT_EQ(error.code().value(), 28);
    EXPECT_EQ(&error.code().category(), &ErrorCategory::instance());
}

TEST(ErrorCategory, MessagesFallBackToInternal) {
    const auto &category = ErrorCategory::instance();
    EXPECT_STREQ(category.name(), "Common::ErrorCategory");
    EXPECT_EQ(category.message(0), "No error occurred");
    EXPECT_EQ(category.message(34), "The package has a developer signature with a disallowed subgroup");
    for (const int unassigned : {4, 7, 9, 12, 35, -1, 999})
        EXPECT_EQ(category.message(unassigned), "Internal error occurred") << unassigned;
}

TEST(ErrorDescription, DirectionsDifferInWhereTheNameStands) {
    const auto known = ErrorCategory::describeCode(28);
    EXPECT_EQ(known.name, "io.tvk.KELP.Error.FileConflict");
    EXPECT_EQ(known.shortName, "FileConflict");

    const auto unknown = ErrorCategory::describeCode(999);
    EXPECT_EQ(unknown.code, 999);
    EXPECT_EQ(unknown.name, "io.tvk.KELP.Error.Internal");
    EXPECT_EQ(unknown.shortName, "Internal");

    const auto named = ErrorCategory::describeName("io.tvk.KELP.Error.BadPackageID");
    EXPECT_EQ(named.code, 5);
    EXPECT_EQ(named.name, "");
    EXPECT_EQ(named.shortName, "io.tvk.KELP.Error.BadPackageID");

    const auto stranger = ErrorCategory::describeName("nobody");
    EXPECT_EQ(stranger.code, 2);
    EXPECT_EQ(stranger.shortName, "nobody");
}

} // namespace
