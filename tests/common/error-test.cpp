#include "kelp/core/common/errors/error.h"

#include "kelp/core/common/errors/category-of-rows.h"
#include "kelp/core/common/errors/error-category.h"
#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/files/file-descriptor.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

namespace {

using Common::ErrorCategory;
using Common::ErrorCode;

TEST(ErrorCategory, FallsBackToInternalAndKeepsAStrangersName) {
    EXPECT_STREQ(ErrorCategory::instance().name(), "Common::ErrorCategory");
    for (const int unassigned : {4, 7, 9, 12, 35, -1, 999})
        EXPECT_EQ(ErrorCategory::instance().message(unassigned), "Internal error occurred") << unassigned;
    const auto known = ErrorCategory::describeCode(28);
    EXPECT_EQ(known.name + " " + known.shortName, "io.tvk.KELP.Error.FileConflict FileConflict");
    const auto unknown = ErrorCategory::describeCode(999);
    EXPECT_EQ(std::to_string(unknown.code) + unknown.name, "999io.tvk.KELP.Error.Internal");
    // In this direction the name that was asked for stands in the other place.
    for (const auto &[name, code] : {std::pair("io.tvk.KELP.Error.BadPackageID", 5), {"nobody", 2}}) {
        const auto described = ErrorCategory::describeName(name);
        EXPECT_EQ(described.code, code);
        EXPECT_EQ(described.name, "");
        EXPECT_EQ(described.shortName, name);
    }
}

TEST(Error, NamesWhatWasReachedByADescriptor) {
    const Common::FileDescriptor directory(::open("/usr", O_RDONLY | O_CLOEXEC));
    const std::string path = "/proc/self/fd/" + std::to_string(directory.get());
    EXPECT_STREQ(Common::Error(ErrorCode::Internal, "of " + path + "/x and " + path).what(),
                 "of /usr/x and /usr");
    EXPECT_STREQ(Common::Error(ErrorCode::Internal, "/proc/self/fd/9999/x").what(), ".../x");
}

TEST(FileDescriptor, StandardOutputIsNoFileThatWasOpenedLater) {
    const auto isHeld = [] {
        for (int file : {0, 1, 2})
            ::close(file);
        Common::holdStandardDescriptors();
        ::_exit(::open("/usr", O_RDONLY) > 2 && ::write(1, "x", 1) < 0 ? 0 : 1);
    };
    EXPECT_EXIT(isHeld(), testing::ExitedWithCode(0), "");
}

} // namespace
