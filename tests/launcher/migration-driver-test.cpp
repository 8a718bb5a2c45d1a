#include "launcher/migration-driver.h"

#include "kelp/core/common/configuration.h"
#include "kelp/core/common/stop-signals.h"
#include "support/captured-output.h"
#include "support/temporary-directory.h"
#include "support/text-file.h"

#include <gmock/gmock.h>

#include <csignal>
#include <stdexcept>

namespace {

namespace fs = std::filesystem;
using Launcher::Migration;
using testing::ElementsAre;

class MigrationDriverTest : public testing::Test {
protected:
    Migration migration(
        const std::string &name, const std::function<void()> &body = [] {}) {
        return {name, stamp(name),
                [this, name, body](Core::Configuration &) {
                    ran.push_back(name);
                    body();
                },
                stamp(name + ".pending")};
    }

    fs::path stamp(const std::string &name) const { return root.path() / name; }

    void run(const std::vector<Migration> &migrations) {
        out.take();
        ran.clear();
        Launcher::runMigrations(migrations, configuration);
    }

    TemporaryRoot root;
    CapturedOutput out;
    Core::Configuration configuration;
    std::vector<std::string> ran;
};

TEST_F(MigrationDriverTest, AFailureIsRepeatedAndStopsNoOther) {
    bool fails = true;
    const std::vector<Migration> migrations = {
        migration("a", [&] { fails ? throw std::runtime_error("boom") : void(); }), migration("b"),
        migration("c")};
    run(migrations);
    EXPECT_THAT(ran, ElementsAre("a", "b", "c"));
    EXPECT_EQ(out.take(), "[E] boom\n[E] Couldn't complete migration: a\n");
    EXPECT_FALSE(fs::exists(stamp("a")));
    EXPECT_EQ(fs::file_size(stamp("b")), 0u);

    fails = false;
    run(migrations);
    EXPECT_THAT(ran, ElementsAre("a"));
    EXPECT_EQ(out.take(), "[I] Migration 'b' already completed, skipping.\n"
                          "[I] Migration 'c' already completed, skipping.\n");
    EXPECT_TRUE(fs::exists(stamp("a")));

    fs::create_symlink("nowhere", stamp("b.pending"));
    run(migrations);
    EXPECT_THAT(ran, ElementsAre("b"));
}

} // namespace
