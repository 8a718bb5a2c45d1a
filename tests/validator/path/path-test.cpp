#include "kelp/core/kelp/validator/program/path.h"

#include "support/captured-output.h"
#include "support/temporary-directory.h"
#include "support/text-file.h"

#include <gtest/gtest.h>

using namespace Validator;

namespace {

/// The header of a little-endian program of 64 bits, with no sections.
const std::string elf = [] {
    std::string header("\x7f"
                       "ELF\2\1\1",
                       7);
    header.resize(64);
    header[20] = 1;
    return header;
}();

class PathTest : public testing::Test {
protected:
    PathTest() {
        writeFile(root_.path() / "var/lib/developer-moded/developer-moded.conf",
                  "[developermode]\nvalidationEnabled=true\n");
        writeFile(realPath_, "text");
    }

    /// The report on a file that a package org.example.app has at `path`.
    std::string check(const std::string &path, Profile profile = Profile::Regular) {
        RpmFacts facts;
        facts.name = "org.example.app";
        CapturedOutput report(CapturedOutput::Stream::Error);
        Path checker(std::make_shared<RpmMeta>(facts), std::make_shared<Config>(profile),
                     std::make_shared<Logger>());
        EXPECT_TRUE(checker.canValidate(path, realPath_));
        checker.validate(path, realPath_);
        return report.take();
    }

    TemporaryRoot root_;
    std::string realPath_ = root_.path() / "file";
};

TEST_F(PathTest, JudgesLocations) {
    struct Case {
        const char *path;
        const char *complaint; ///< PATH stands for the path.
    };
    const char *forbidden = "(ERROR)\t\t[PATH] Installation not allowed in this location\n";
    const char *debug = "(ERROR)\t\t[debug] Debug symbols or sources must not be included\n";
    const char *binDirectory = "(ERROR)\t\t[/usr/bin] Direct package ownership of /usr/bin is disallowed\n";
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
        std::string expected = c.complaint;
        if (const auto at = expected.find("PATH"); at != std::string::npos)
            expected.replace(at, 4, c.path);
        EXPECT_EQ(check(c.path), expected) << c.path;
    }
}

TEST_F(PathTest, AsksTheProfile) {
    const std::string complaint = "] Installation not allowed in this location\n";
    for (const char *path : {"/usr/lib/3rdparty/org.example.app/x", "/usr/lib/3rdparty/other/x",
                             "/usr/lib64/qt5/qml/A/qmldir", "/etc/connman/main.conf"}) {
        EXPECT_EQ(check(path, Profile::Extended), "");
        EXPECT_EQ(check(path), "(ERROR)\t\t[" + std::string(path) + complaint);
    }
    EXPECT_EQ(check("/etc/userdata-wiper/override.json", Profile::Auth), "");
}

TEST_F(PathTest, AllowsOnlyProgramsInTheDirectoryForThem) {
    const std::string path = "/usr/libexec/org.example.app/helper";
    const std::string complaint =
        "(ERROR)\t\t[" + path + "] Installation not allowed in this location: bad executable format\n";
    EXPECT_EQ(check(path), complaint);
    writeFile(realPath_, elf);
    EXPECT_EQ(check(path), "");
    std::string bigEndian = elf;
    bigEndian[5] = 2;
    writeFile(realPath_, bigEndian);
    EXPECT_EQ(check(path), complaint);
    realPath_ = root_.path();
    EXPECT_EQ(check(path), "");
    realPath_ = root_.path() / "missing";
    EXPECT_EQ(check(path), complaint);
}

TEST_F(PathTest, FindsTheHomeOfTheDefaultUser) {
    const std::string needle = "/home/defaultuser";
    const std::string path = "/usr/share/org.example.app/data";
    const std::string complaint = "(ERROR)\t\t[" + path + "] Hardcoded path found\n";
    for (const std::size_t at : {0U, 1U, 4079U, 4080U, 4088U, 4095U, 4096U, 100'000U}) {
        writeFile(realPath_, std::string(at, '/') + needle + '\0' + needle);
        EXPECT_EQ(check(path), complaint) << at;
        writeFile(realPath_, std::string(at, '/') + needle.substr(0, needle.size() - 1));
        EXPECT_EQ(check(path), "") << at;
    }
    writeFile(realPath_, needle);
    EXPECT_EQ(check("/etc/x"), "(ERROR)\t\t[/etc/x] Installation not allowed in this location\n"
                               "(ERROR)\t\t[/etc/x] Hardcoded path found\n");
    for (const char *other : {"missing", "."}) {
        realPath_ = root_.path() / other;
        EXPECT_EQ(check(path), "");
    }
}

} // namespace
