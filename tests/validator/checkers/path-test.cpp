#include "kelp/core/kelp/validator/program/path.h"

#include "checker-fixture.h"
#include "support/text-file.h"
#include "validator/content/elf-image.h"

using namespace Validator;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class PathTest : public CheckerTest {
protected:
    /// The report on a file that a package org.example.app has at `path`.
    Lines check(const std::string &path, Profile profile = Profile::Regular) {
        profile_ = profile;
        const auto checker = make<Path>();
        EXPECT_TRUE(checker->canValidate(path, realPath_));
        return linesOf([&] { checker->validate(path, realPath_); });
    }

    std::string realPath_ = unpack("text");
};

TEST_F(PathTest, JudgesLocations) {
    for (const char *path :
         {"/usr/share/org.example.apparatus/x", "/usr/share/icons/hicolor/86x86/apps/any.png",
          "/usr/bin/other", "/usr/share/applications/org.example.app.desktop.bak",
          "/etc/integrityd/config.d/org.example.app.json", "/usr/libexec/org.example.app",
          "/usr/share/common/any", "/manifest.json"})
        EXPECT_THAT(check(path), IsEmpty()) << path;
    for (const std::string path :
         {"/usr/share/org.example.ap", "/usr/bin2", "/etc/integrityd/config.d/other.json",
          "/usr/lib/3rdparty/org.example.app/x", "/usr/libexec/org.example.app2", "/manifest.json2", ""})
        EXPECT_THAT(check(path), ElementsAre("location-not-allowed(" + path + ")"));
    for (const char *path : {"/usr/lib/debug/x", "/usr/lib/debugger", "/usr/src/debug"})
        EXPECT_THAT(check(path), ElementsAre("debug-files"));
    for (const char *path : {"/usr/bin", "/usr/bin/"})
        EXPECT_THAT(check(path), ElementsAre("bin-directory-owned"));
}

TEST_F(PathTest, AsksTheProfile) {
    for (const char *path : {"/usr/lib/3rdparty/org.example.app/x", "/usr/lib/3rdparty/other/x",
                             "/usr/lib64/qt5/qml/A/qmldir", "/etc/connman/main.conf"}) {
        EXPECT_THAT(check(path, Profile::Extended), IsEmpty());
        EXPECT_THAT(check(path), ElementsAre("location-not-allowed(" + std::string(path) + ")"));
    }
    EXPECT_THAT(check("/etc/userdata-wiper/override.json", Profile::Auth), IsEmpty());
}

TEST_F(PathTest, AllowsOnlyProgramsInTheDirectoryForThem) {
    const std::string path = "/usr/libexec/org.example.app/helper";
    const Lines complaint{"libexec-not-elf(" + path + ")"};
    EXPECT_EQ(check(path), complaint);
    writeFile(realPath_, ElfImage().bytes());
    EXPECT_EQ(check(path), Lines());
    writeFile(realPath_, ElfImage(ElfImage::Bits::Bits64, ElfImage::Order::Big).bytes());
    EXPECT_EQ(check(path), complaint);
}

TEST_F(PathTest, FindsTheHomeOfTheDefaultUser) {
    const std::string needle = "/home/defaultuser";
    const std::string path = "/usr/share/org.example.app/data";
    const Lines complaint{"hardcoded-path(" + path + ")"};
    for (const std::size_t at : {0U, 1U, 4079U, 4080U, 4088U, 4095U, 4096U, 100'000U}) {
        writeFile(realPath_, std::string(at, '/') + needle + '\0' + needle);
        EXPECT_EQ(check(path), complaint) << at;
        writeFile(realPath_, std::string(at, '/') + needle.substr(0, needle.size() - 1));
        EXPECT_EQ(check(path), Lines()) << at;
    }
    writeFile(realPath_, needle);
    EXPECT_THAT(check("/etc/x"), ElementsAre("location-not-allowed(/etc/x)", "hardcoded-path(/etc/x)"));
    realPath_ = root_.path();
    EXPECT_EQ(check(path), Lines());
}

} // namespace
