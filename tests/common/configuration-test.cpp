#include "kelp/core/common/configuration.h"

#include "support/captured-output.h"
#include "support/temporary-directory.h"
#include "support/text-file.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

namespace {

using testing::HasSubstr;
using testing::StartsWith;

class ConfigurationTest : public testing::Test {
protected:
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
    std::filesystem::create_directories(root.path() / "etc/kelp");
    ASSERT_EQ(::mkfifo(file.c_str(), 0600), 0);
    static_cast<void>(Core::Configuration());
    EXPECT_EQ(out.take(), log) << "a pipe without a writer";
}

TEST_F(ConfigurationTest, ValuesLandBelowTheRootPrefixAndOneBadLineDiscardsThemAll) {
    const std::string sound = "; comment\n[kelp]\ndatabase_directory = /data/apps\ntemp_directory = tmp/x\n";
    const std::pair<std::string, const char *> rows[] = {
        {sound + "stranger = 1\n[other]\na=b\n", ""},
        {sound + "nonsense\n", "'=' character not found in line"},
        {sound + "temp_directory=/e\n", "duplicate key name"},
        {sound + "[kelp]\nhook_directory=/e\n", "duplicate section name"},
    };
    for (const auto &[content, reason] : rows) {
        writeFile(root.path() / "etc/kelp/kelp.conf", content);
        const Core::Configuration configuration;
        EXPECT_EQ(configuration.databaseDirectory(), root.path() / (*reason ? "opt/app" : "data/apps"));
        EXPECT_EQ(configuration.tempDirectory(), root.path() / (*reason ? "opt/kelp/tmp" : "tmp/x"));
        EXPECT_EQ(configuration.hookDirectory(), root.path() / "usr/share/kelp/hooks.d") << content;
        EXPECT_THAT(out.take(), *reason ? HasSubstr(reason) : testing::Matcher<std::string>(""));
    }
}

} // namespace
