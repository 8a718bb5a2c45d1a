#include "support/temporary-directory.h"
#include "support/text-file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>

namespace fs = std::filesystem;

namespace {

using testing::EndsWith;
using testing::HasSubstr;

const std::string package = KELP_RPMS "/refused.rpm";

/// Runs the program as a developer would, with a root and a directory for temporary files of its own.
class KelpCtlTest : public testing::Test {
protected:
    KelpCtlTest() {
        fs::create_directory(temporary_);
        setValidation("true");
    }

    void setValidation(const std::string &value) {
        writeFile(root_.path() / "var/lib/developer-moded/developer-moded.conf",
                  "[developermode]\nvalidationEnabled=" + value + '\n');
    }

    /// The exit status.
    int run(const std::string &arguments) {
        const std::string command = "TMPDIR='" + temporary_.string() + "' " KELPCTL " " + arguments + " >'" +
                                    out_.string() + "' 2>'" + report_.string() + "'";
        const int status = std::system(command.c_str());
        EXPECT_TRUE(fs::is_empty(temporary_)) << "left something behind";
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    TemporaryRoot root_;
    fs::path temporary_ = root_.path() / "tmp";
    fs::path out_ = root_.path() / "out";
    fs::path report_ = root_.path() / "report";
};

TEST_F(KelpCtlTest, SaysWhatItThinksOfEachPackage) {
    EXPECT_EQ(run("validate " + package), 1);
    EXPECT_EQ(readFile(out_), package + ": refused: package content validation failed\n");
    EXPECT_THAT(readFile(report_), HasSubstr("[binary] Main binary must exist"))
        << "the last of the findings";
    EXPECT_THAT(readFile(report_), HasSubstr("[desktop] X-Pelago-Application-Type not declared"));

    setValidation("false");
    EXPECT_EQ(run("validate --profile extended " + package), 0);
    EXPECT_EQ(readFile(out_), package + ": accepted\n");

    writeFile(root_.path() / "text.rpm", "no package");
    const std::string text = root_.path() / "text.rpm";
    EXPECT_EQ(run("validate " + text + ' ' + package), 1);
    EXPECT_EQ(readFile(out_), text + ": refused: Couldn't read rpm package\n" + package + ": accepted\n");
}

TEST_F(KelpCtlTest, KeepsTheTreeWhenAsked) {
    const fs::path kept = root_.path() / "kept";
    EXPECT_EQ(run("validate --keep '" + kept.string() + "' " + package), 1);
    EXPECT_TRUE(fs::exists(kept / "org.example.notes-1.4.2-1/manifest/org.example.notes.desktop"));
    EXPECT_EQ(run("validate --keep '" + kept.string() + "' " + package), 2) << "would mix two trees";
}

TEST_F(KelpCtlTest, TellsWrongUsageFromRefusal) {
    for (const char *arguments : {"", "validate", "validate --profile none x.rpm", "install x.rpm"})
        EXPECT_EQ(run(arguments), 2) << arguments;
    EXPECT_EQ(run("--help"), 0);
    EXPECT_THAT(readFile(out_), HasSubstr("validate"));
    EXPECT_EQ(run("validate /nowhere.rpm " + package), 2);
    EXPECT_THAT(readFile(out_), EndsWith("package content validation failed\n")) << "the others are judged";
}

TEST_F(KelpCtlTest, ShowsNoTextAsALineOrASequenceOfItsOwn) {
    const std::pair<const char *, const char *> rows[] = {
        {"a\nb.rpm: accepted", "a\\x0ab.rpm: accepted"},
        {"\033[32m\x7f\t\\x", "\\x1b[32m\\x7f\\x09\\\\x"},
        {"\u00e9\u0085\u202e\u2028", "\u00e9\\u{0085}\\u{202e}\\u{2028}"},
        {"\xff\xed\xa0\x80\xe2\x80", "\\xff\\xed\\xa0\\x80\\xe2\\x80"}};
    for (const auto &[name, shown] : rows) {
        EXPECT_EQ(run(std::string("validate '/") + name + "'"), 2);
        EXPECT_EQ(readFile(report_), std::string("kelpctl: /") + shown + ": Couldn't open rpm package\n");
    }
}

TEST_F(KelpCtlTest, AcceptsASoundPackageUnderTheProfilesOfItsKind) {
    const std::pair<const char *, int> rows[] = {{"regular", 0}, {"extended", 0},  {"auth", 0},
                                                 {"market", 0},  {"systemapp", 0}, {"antivirus", 0},
                                                 {"mdm", 1},     {"pwa", 1}};
    for (const auto &[profile, status] : rows)
        EXPECT_EQ(run(std::string("validate --profile ") + profile + " " KELP_RPMS "/sound.rpm"), status)
            << profile << "\n"
            << readFile(report_);
}

/// The folder is one of somebody's own packages, or else has those that the build makes.
TEST_F(KelpCtlTest, HasAVerdictOnEveryPackageOfAFolder) {
    const char *folder = std::getenv("KELP_TEST_RPMS");
    std::size_t count = 0;
    for (const auto &entry : fs::directory_iterator(folder ? folder : KELP_RPMS)) {
        EXPECT_THAT(run("validate '" + entry.path().string() + "'"), testing::AnyOf(0, 1)) << entry;
        ++count;
    }
    EXPECT_GT(count, 0u);
}

} // namespace
