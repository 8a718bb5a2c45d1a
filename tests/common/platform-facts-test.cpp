#include "kelp/core/common/platform-facts.h"

#include "support/error-matcher.h"
#include "support/temporary-directory.h"
#include "support/text-file.h"

#include <sys/stat.h>
#include <sys/utsname.h>

namespace {

using Common::ErrorCode;

TEST(OsVersion, IsTheRestOfTheFirstLineWithTheKey) {
    const TemporaryRoot root;
    const auto fails = raises(ErrorCode::Internal, "Couldn't retrieve Velura OS version");
    EXPECT_THAT(Common::osVersion, fails);
    for (const auto &[content, value] : {std::pair("NAME=Velura\nVERSION_ID=5.1.2\nVERSION_ID=9\n", "5.1.2"),
                                         {"VERSION_ID=5 # now ", "5 # now "},
                                         {" VERSION_ID=1\nXVERSION_ID=2\nversion_id=3\nVERSION_ID=4", "4"}}) {
        writeFile(root.path() / "etc/os-release", content);
        EXPECT_EQ(Common::osVersion(), value) << content;
    }
    writeFile(root.path() / "etc/os-release", "NAME=Velura\nVERSION=5\n");
    EXPECT_THAT(Common::osVersion, fails);
    std::filesystem::remove(root.path() / "etc/os-release");
    ASSERT_EQ(::mkfifo((root.path() / "etc/os-release").c_str(), 0644), 0);
    EXPECT_THAT(Common::osVersion, fails) << "without waiting for a writer";
}

TEST(PlatformArchitecture, IsTheFirstWordUpToAHyphenOrTheKernels) {
    utsname names{};
    ASSERT_EQ(::uname(&names), 0);
    const TemporaryRoot root;
    EXPECT_EQ(Common::platformArchitecture(), names.machine) << "no file";
    const std::string kernel = names.machine;
    for (const auto &[content, value] :
         {std::pair("aarch64-velura-linux\nnoarch-*\n", std::string("aarch64")),
          {"\n  i486 x-y", "i486"},
          {"", kernel},
          {"-velura", kernel}}) {
        writeFile(root.path() / "etc/rpm/platform", content);
        EXPECT_EQ(Common::platformArchitecture(), value) << '"' << content << '"';
    }
}

} // namespace
