#include "kelp/core/common/configuration.h"

#include "support/captured-output.h"
#include "support/temporary-directory.h"
#include "support/text-file.h"

#include <gmock/gmock.h>

namespace {

using testing::HasSubstr;
using testing::StartsWith;

class ConfigurationTest : public testing::Test {
protected:
    Core::Configuration load(const std::string &content) {
        writeFile(root.path() / "etc/kelp/kelp.conf", content);
        return {};
    }

    TemporaryRoot root;
    CapturedOutput out;
};

TEST_F(ConfigurationTest, MissingFileGivesTheDefaultsAndTwoWarnings) {
    const Core::Configuration configuration;
    EXPECT_EQ(configuration.databaseDirectory(), root.path() / "opt/app");
    EXPECT_EQ(configuration.tempDirectory(), root.path() / "opt/kelp/tmp");
    EXPECT_EQ(configuration.hookDirectory(), root.path() / "usr/share/kelp/hooks.d");
    EXPECT_EQ(configuration.trustedSourcesDatabasePath(), root.path() / "var/lib/trusted-sources/db.sqlite3");
    const std::string file = (root.path() / "etc/kelp/kelp.conf").string();
    const std::string log = out.take();
    EXPECT_THAT(log, StartsWith("[W] Couldn't load configuration: \"" + file + "\"\n[W] "));
    EXPECT_THAT(log, HasSubstr("cannot open file"));
}

TEST_F(ConfigurationTest, ValuesLandBelowTheRootPrefix) {
    const auto configuration =
        load("; comment\n[kelp]\ndatabase_directory = /data/apps\ntemp_directory = tmp/x\n"
             "stranger = 1\n[other]\na=b\n");
    EXPECT_EQ(configuration.databaseDirectory(), root.path() / "data/apps");
    EXPECT_EQ(configuration.tempDirectory(), root.path() / "tmp/x");
    EXPECT_EQ(configuration.hookDirectory(), root.path() / "usr/share/kelp/hooks.d");
    EXPECT_EQ(out.take(), "");
}

TEST_F(ConfigurationTest, OneBadLineDiscardsTheWholeFile) {
    const std::pair<const char *, const char *> rows[] = {
        {"[kelp]\ndatabase_directory=/d\nnonsense\n", "'=' character not found in line"},
        {"[kelp]\ndatabase_directory=/d\ndatabase_directory=/e\n", "duplicate key name"},
        {"[kelp]\ndatabase_directory=/d\n[kelp]\ntemp_directory=/e\n", "duplicate section name"},
    };
    for (const auto &[content, reason] : rows) {
        const auto configuration = load(content);
        EXPECT_EQ(configuration.databaseDirectory(), root.path() / "opt/app") << content;
        EXPECT_THAT(out.take(), HasSubstr(reason));
    }
}

} // namespace
