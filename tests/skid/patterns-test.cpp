#include "kelp/core/kelp/skid/patterns.h"

#include "kelp/core/common/error.h"
#include "support/captured-output.h"
#include "support/temporary-directory.h"
#include "support/text-file.h"

#include <gmock/gmock.h>

#include <grp.h>

namespace {

namespace fs = std::filesystem;
using Core::KELP::SKID::Patterns;
using testing::IsEmpty;

class PatternsTest : public testing::Test {
protected:
    fs::path at(const std::string &path) const { return root.path() / path; }

    TemporaryRoot root;
    CapturedOutput out;
};

TEST_F(PatternsTest, ExpandNamesTheOrganisationTheKeyAndTheHome) {
    const auto units = Patterns::expand("acme", "K", "/h/u");
    std::vector<std::string> lines;
    for (const auto &unit : units)
        lines.push_back(unit.from + " " + unit.to + " " + std::to_string(unit.kind));
    const std::string prefix = root.path().string();
    EXPECT_THAT(lines, testing::ElementsAre(
                           prefix + "/srv/shared/acme/common/ " + prefix + "/srv/shared/acme/K/common/ 1",
                           prefix + "/usr/share/common/acme/ " + prefix + "/usr/share/common/acme/K/ 0",
                           "/h/u/.cache/acme/common/ /h/u/.cache/acme/K/common/ 0",
                           "/h/u/.local/share/acme/common/ /h/u/.local/share/acme/K/common/ 0",
                           "/h/u/.config/acme/common/ /h/u/.config/acme/K/common/ 0"));
}

TEST_F(PatternsTest, AMoveGoesWhereNothingIs) {
    const fs::path from = at("srv/acme/common/");
    const fs::path to = at("srv/acme/K/common/");
    Patterns::moveUnit(from, to);
    EXPECT_FALSE(fs::exists(at("srv"))) << "nothing to move";

    writeFile(from / "file", "data");
    Patterns::moveUnit(from, to);
    EXPECT_EQ(readFile(to / "file"), "data");
    EXPECT_FALSE(fs::exists(from));
    EXPECT_EQ(out.take(), "");

    writeFile(from / "file", "other");
    Patterns::moveUnit(from, to);
    EXPECT_EQ(readFile(to / "file"), "data");
    EXPECT_EQ(readFile(from / "file"), "other");
    EXPECT_EQ(out.take(), "[E] Internal error: \"" + from.string() + "\" and \"" + to.string() +
                              "\" directories shouldn't exists concurrently\n");
}

TEST_F(PatternsTest, AMoveBelowItselfIsTakenUpFromWhereverItStopped) {
    const fs::path from = at("common/acme/");
    const fs::path to = at("common/acme/K/");
    const fs::path temporary = at("common/.tmp.acme");
    Patterns::moveUnit(from, to);
    EXPECT_THAT(fs::directory_iterator(root.path()), testing::Eq(fs::directory_iterator()));

    const std::function<void()> interruptions[] = {
        [] {},
        [&] { fs::rename(at("common/acme"), temporary); },
        [&] {
            fs::rename(at("common/acme"), temporary);
            fs::create_directory(from);
        },
    };
    for (const auto &interrupt : interruptions) {
        writeFile(from / "sub/file", "data");
        interrupt();
        Patterns::moveUnit(from, to);
        EXPECT_EQ(readFile(to / "sub/file"), "data");
        EXPECT_FALSE(fs::exists(from / "sub"));
        EXPECT_FALSE(fs::exists(temporary));
        Patterns::moveUnit(from, to);
        EXPECT_EQ(readFile(to / "sub/file"), "data") << "done before";
        fs::remove_all(at("common"));
    }
    EXPECT_EQ(out.take(), "");
}

TEST_F(PatternsTest, AFailedMoveEndsThePackagesMoves) {
    for (const char *name : {"1", "2", "3"})
        writeFile(at(std::string("from/") + name + "/file"), name);
    writeFile(at("blocked"), "a file where a directory is needed");
    const auto unit = [&](const std::string &name, const std::string &to) {
        return Patterns::MigrationUnit{at("from/" + name).string() + "/", at(to).string() + "/", 0};
    };
    Patterns::migrate({unit("1", "to/1"), unit("2", "blocked/2"), unit("3", "to/3")});
    EXPECT_TRUE(fs::exists(at("to/1/file")));
    EXPECT_TRUE(fs::exists(at("from/2/file")));
    EXPECT_TRUE(fs::exists(at("from/3/file")));
    EXPECT_THAT(out.take(), testing::EndsWith("[E] Couldn't move " + at("from/2").string() + "/ to " +
                                              at("blocked/2").string() + "/\n"));
}

} // namespace
