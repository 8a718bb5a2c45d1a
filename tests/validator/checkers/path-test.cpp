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
    struct Case {
        const char *path;
        std::string complaint; ///< What follows the path, or all of it.
    };
    const std::string forbidden = "] Installation not allowed in this location";
    const std::string debug = "[debug] Debug symbols or sources must not be included";
    const std::string binDirectory = "[/usr/bin] Direct package ownership of /usr/bin is disallowed";
    const Case cases[] = {
        {"/usr/share/org.example.app", ""},
        {"/usr/share/org.example.apparatus/x", ""},
        {"/usr/share/org.example.ap", forbidden},
        {"/usr/share/icons/hicolor/86x86/apps/any.png", ""},
        {"/usr/share/icons/other", forbidden},
        {"/usr/bin/org.example.app", ""},
        {"/usr/bin/org.example.app2", ""},
        {"/usr/bin/other", ""},
        {"/usr/bin", binDirectory},
        {"/usr/bin/", binDirectory},
        {"/usr/bin2", forbidden},
        {"/usr/share/applications/org.example.app.desktop", ""},
        {"/usr/share/applications/org.example.app.desktop.bak", ""},
        {"/usr/share/applications/other.desktop", forbidden},
        {"/etc/integrityd/config.d/org.example.app.json", ""},
        {"/etc/integrityd/config.d/other.json", forbidden},
        {"/usr/lib/3rdparty/org.example.app/x", forbidden},
        {"/usr/libexec/org.example.app", ""},
        {"/usr/libexec/org.example.app2", forbidden},
        {"/usr/share/common/any", ""},
        {"/usr/lib/debug/x", debug},
        {"/usr/lib/debugger", debug},
        {"/usr/src/debug", debug},
        {"/usr/src/other", forbidden},
        {"/manifest.json", ""},
        {"/manifest.json2", forbidden},
        {"manifest.json", forbidden},
        {"", forbidden},
    };
    for (const Case &c : cases) {
        const std::string start = c.complaint == forbidden ? '[' + std::string(c.path) : "";
        EXPECT_EQ(check(c.path), c.complaint.empty() ? Lines{} : Lines{error(start + c.complaint)}) << c.path;
    }
}

TEST_F(PathTest, AsksTheProfile) {
    for (const char *path : {"/usr/lib/3rdparty/org.example.app/x", "/usr/lib/3rdparty/other/x",
                             "/usr/lib64/qt5/qml/A/qmldir", "/etc/connman/main.conf"}) {
        EXPECT_THAT(check(path, Profile::Extended), IsEmpty());
        EXPECT_THAT(check(path), ElementsAre(error('[' + std::string(path) +
                                                   "] Installation not allowed in this location")));
    }
    EXPECT_THAT(check("/etc/userdata-wiper/override.json", Profile::Auth), IsEmpty());
}

TEST_F(PathTest, AllowsOnlyProgramsInTheDirectoryForThem) {
    const std::string path = "/usr/libexec/org.example.app/helper";
    const Lines complaint{
        error('[' + path + "] Installation not allowed in this location: bad executable format")};
    EXPECT_EQ(check(path), complaint);
    writeFile(realPath_, ElfImage().bytes());
    EXPECT_EQ(check(path), Lines());
    writeFile(realPath_, ElfImage(ElfImage::Bits::Bits64, ElfImage::Order::Big).bytes());
    EXPECT_EQ(check(path), complaint);
    realPath_ = root_.path();
    EXPECT_EQ(check(path), Lines());
    realPath_ = root_.path() / "missing";
    EXPECT_EQ(check(path), complaint);
}

TEST_F(PathTest, FindsTheHomeOfTheDefaultUser) {
    const std::string needle = "/home/defaultuser";
    const std::string path = "/usr/share/org.example.app/data";
    const Lines complaint{error('[' + path + "] Hardcoded path found")};
    for (const std::size_t at : {0U, 1U, 4079U, 4080U, 4088U, 4095U, 4096U, 100'000U}) {
        writeFile(realPath_, std::string(at, '/') + needle + '\0' + needle);
        EXPECT_EQ(check(path), complaint) << at;
        writeFile(realPath_, std::string(at, '/') + needle.substr(0, needle.size() - 1));
        EXPECT_EQ(check(path), Lines()) << at;
    }
    writeFile(realPath_, needle);
    EXPECT_THAT(check("/etc/x"), ElementsAre(error("[/etc/x] Installation not allowed in this location"),
                                             error("[/etc/x] Hardcoded path found")));
    for (const char *other : {"missing", "."}) {
        realPath_ = root_.path() / other;
        EXPECT_EQ(check(path), Lines());
    }
}

} // namespace
