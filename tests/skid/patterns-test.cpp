#include "kelp/core/kelp/skid/patterns.h"

#include "support/captured-output.h"
#include "support/temporary-directory.h"
#include "support/text-file.h"

#include <gmock/gmock.h>

namespace {

namespace fs = std::filesystem;
using Core::KELP::SKID::Patterns;

TEST(PatternsTest, AFailureEndsThePackagesMoves) {
    const TemporaryRoot root;
    CapturedOutput out;
    const auto at = [&](const std::string &path) { return root.path() / path; };
    for (const char *name : {"1", "3", "4"})
        writeFile(at(std::string("from/") + name + "/file"), name);
    writeFile(at("blocked"), "a file where a directory is needed");
    const auto unit = [&](const std::string &name, const std::string &to) {
        return Patterns::MigrationUnit{at("from/" + name).string() + "/", at(to).string() + "/", 0};
    };
    Patterns::migrate({unit("1", "to/1"), unit("3", "blocked/3"), unit("4", "to/4")});
    EXPECT_TRUE(fs::exists(at("to/1/file")));
    for (const char *name : {"3", "4"})
        EXPECT_TRUE(fs::exists(at("from") / name / "file")) << name;
    EXPECT_THAT(out.take(), testing::EndsWith("[E] Couldn't move " + at("from/3").string() + "/ to " +
                                              at("blocked/3").string() + "/\n"));
}

TEST(PatternsTest, TheDirectoryOfOneKeyDoesNotMoveIntoAnothers) {
    const TemporaryRoot root;
    writeFile(root.path() / "usr/share/common/org/B/file", "");
    Core::KELP::PackageInformation a{{"general.orgname", "org"}, {"certificate.id", "A"}}, b = a;
    b["certificate.id"] = "B";
    Patterns::migrate(Patterns::migrationUnits({a, b}, {}, {root.path() / "home"}).at(0));
    EXPECT_TRUE(fs::exists(root.path() / "usr/share/common/org/B/file"));
}

} // namespace
