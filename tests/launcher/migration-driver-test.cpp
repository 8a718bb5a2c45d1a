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
        return {name, stamp(name), [this, name, body](Core::Configuration &) {
                    ran.push_back(name);
                    body();
                }};
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
}

TEST_F(MigrationDriverTest, AnythingThatExistsIsAStamp) {
    fs::create_directory(stamp("directory"));
    fs::create_symlink("directory", stamp("link"));
    fs::create_symlink("nowhere", stamp("dangling"));
    run({migration("directory"), migration("link"), migration("dangling")});
    EXPECT_THAT(ran, ElementsAre("dangling"));
}

TEST_F(MigrationDriverTest, AStampThatCannotBeWrittenIsSilent) {
    run({migration("none/a")});
    EXPECT_THAT(ran, ElementsAre("none/a"));
    EXPECT_EQ(out.take(), "");
    EXPECT_FALSE(fs::exists(root.path() / "none"));
}

TEST_F(MigrationDriverTest, AnEmptyCallbackFailsAsAnyOther) {
    run({{"a", stamp("a"), {}}, migration("b")});
    EXPECT_THAT(ran, ElementsAre("b"));
    EXPECT_EQ(out.take(), "[E] bad_function_call\n[E] Couldn't complete migration: a\n");
}

TEST_F(MigrationDriverTest, StrangeExceptionsPass) {
    EXPECT_THROW(run({migration("a", [] { throw 1; })}), int);
}

TEST_F(MigrationDriverTest, BeginsNoFurtherOneOnceAskedToStop) {
    Common::deferStopSignals();
    run({migration("a", [] { std::raise(SIGTERM); }), migration("b")});
    EXPECT_THAT(ran, ElementsAre("a"));
    EXPECT_TRUE(fs::exists(stamp("a"))) << "was carried out to its end";
    EXPECT_EQ(out.take(), "[W] Asked to stop before migration: b\n");

    sigset_t pending;
    ::sigemptyset(&pending);
    ::sigaddset(&pending, SIGTERM);
    const timespec now{};
    EXPECT_EQ(::sigtimedwait(&pending, nullptr, &now), SIGTERM);
    ::sigprocmask(SIG_UNBLOCK, &pending, nullptr);
}

} // namespace
