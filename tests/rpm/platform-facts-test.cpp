#include "kelp/core/common/rpm/platform-facts.h"

#include "support/error-matcher.h"
#include "support/temporary-directory.h"
#include "support/text-file.h"

#include <sys/utsname.h>

namespace {

using Common::ErrorCode;

struct Case {
    const char *content;
    const char *value;
};

TEST(OsVersion, IsTheRestOfTheFirstLineWithTheKey) {
    const Case cases[] = {{"NAME=Velura\nVERSION_ID=5.1.2\nVERSION_ID=9\n", "5.1.2"},
                          {"VERSION_ID=\"5.1\"\n", "\"5.1\""},
                          {"VERSION_ID=\n", ""},
                          {"VERSION_ID=5 # now ", "5 # now "},
                          {" VERSION_ID=1\nXVERSION_ID=2\nversion_id=3\nVERSION_ID=4", "4"}};
    const TemporaryRoot root;
    for (const Case &row : cases) {
        writeFile(root.path() / "etc/os-release", row.content);
        EXPECT_EQ(Common::osVersion(), row.value) << row.content;
    }
}

TEST(OsVersion, NeedsTheFileAndTheLine) {
    const TemporaryRoot root;
    const auto fails = raises(ErrorCode::Internal, "Couldn't retrieve Velura OS version");
    EXPECT_THAT(Common::osVersion, fails);
    writeFile(root.path() / "etc/os-release", "NAME=Velura\nVERSION=5\n");
    EXPECT_THAT(Common::osVersion, fails);
}

TEST(PlatformArchitecture, IsTheFirstWordUpToAHyphen) {
    const Case cases[] = {
        {"aarch64-velura-linux\nnoarch-*\n", "aarch64"}, {"armv7hl\n", "armv7hl"}, {"\n  i486 x-y", "i486"}};
    const TemporaryRoot root;
    for (const Case &row : cases) {
        writeFile(root.path() / "etc/rpm/platform", row.content);
        EXPECT_EQ(Common::platformArchitecture(), row.value) << row.content;
    }
}

TEST(PlatformArchitecture, FallsBackToTheKernel) {
    utsname names{};
    ASSERT_EQ(::uname(&names), 0);
    const TemporaryRoot root;
    EXPECT_EQ(Common::platformArchitecture(), names.machine) << "no file";
    for (const char *content : {"", " \n", "-velura"}) {
        writeFile(root.path() / "etc/rpm/platform", content);
        EXPECT_EQ(Common::platformArchitecture(), names.machine) << '"' << content << '"';
    }
}

} // namespace
