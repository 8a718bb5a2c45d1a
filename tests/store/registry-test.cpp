#include "kelp/core/kelp/registry/registry-record.h"
#include "kelp/core/kelp/registry/registry.h"

#include "support/captured-output.h"
#include "support/temporary-directory.h"
#include "support/text-file.h"

#include <gmock/gmock.h>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <tuple>

namespace {

using namespace Core::KELP;
using testing::HasSubstr;

class RegistryTest : public testing::Test {
protected:
    std::filesystem::path file() const { return root.path() / "var/lib/kelp/registry"; }

    bool write(RegistryEvent event, const std::string &key, std::vector<std::string> previous = {}) {
        return Registry().writeRecord({event, 9, "p", key, std::move(previous)});
    }

    TemporaryRoot root;
    CapturedOutput out;
};

TEST_F(RegistryTest, AnAbsentFileIsEmptyAndOnlyRootCanHoldTheLock) {
    const std::string lock = file().string() + ".lock";
    for (const bool isNew : {true, false}) {
        EXPECT_TRUE(Registry().foreachRecord([](const RegistryRecord &) { FAIL(); }));
        EXPECT_FALSE(std::filesystem::exists(file()));
        EXPECT_EQ(std::filesystem::status(lock).permissions(), std::filesystem::perms(0600)) << isNew;
        std::filesystem::permissions(lock, std::filesystem::perms(0644));
    }
}

TEST_F(RegistryTest, ANewRecordDropsThoseOfItsChainOfKeys) {
    const std::string history = "timestamp=1 event=I package=p keyid=K0\n"
                                "timestamp=2 event=I package=q keyid=K1\n"
                                "timestamp=3 event=I package=p keyid=K1 prev-keyids=K0\n"
                                "timestamp=4 event=U package=p keyid=K1\n"
                                "timestamp=5 event=I package=p keyid=X\n";
    const auto without = [&](const std::string &line) {
        return std::string(history).erase(history.find(line), line.size());
    };
    const std::string others =
        "timestamp=2 event=I package=q keyid=K1\ntimestamp=5 event=I package=p keyid=X\n";
    const std::tuple<RegistryEvent, std::string, std::vector<std::string>, std::string> rows[] = {
        {RegistryEvent::Install, "K1", {}, others + "timestamp=9 event=I package=p keyid=K1\n"},
        {RegistryEvent::Remove, "K1", {}, others + "timestamp=9 event=R package=p keyid=K1\n"},
        {RegistryEvent::Install,
         "K2",
         {"K1"},
         others + "timestamp=9 event=I package=p keyid=K2 prev-keyids=K1\n"},
        {RegistryEvent::Update,
         "K1",
         {},
         without("timestamp=4 event=U package=p keyid=K1\n") + "timestamp=9 event=U package=p keyid=K1\n"},
        {RegistryEvent::Install, "Y", {}, history + "timestamp=9 event=I package=p keyid=Y\n"},
    };
    writeFile(file().string() + ".other", "left behind by a crash");
    for (const auto &[event, key, previous, result] : rows) {
        writeFile(file(), history);
        std::filesystem::create_symlink(file().string() + ".other", file().string() + ".next");
        EXPECT_TRUE(write(event, key, previous));
        EXPECT_EQ(readFile(file()) + readFile(file().string() + ".other"), result + "left behind by a crash");
    }
    EXPECT_EQ(out.take(), "");
}

TEST_F(RegistryTest, BadLinesAreSkippedWithTheirReason) {
    const std::pair<const char *, const char *> rows[] = {
        {"event=I package=p keyid=k", "Registry record doesn't contains timestamp"},
        {"timestamp=1 package=p keyid=k", "Registry record doesn't contains event type"},
        {"timestamp=1 event=X package=p keyid=k", "Registry record contains unknown event type"},
        {"timestamp=1 event=I keyid=k", "Registry record doesn't contains package id"},
        {"timestamp=1 event=I package=p keyid=", "Registry record doesn't contains key id"},
        {"timestamp=1 event=I package=p\xff keyid=k",
         "Registry record contains a package id that can name no directory"},
        {"timestamp=abc event=I package=p keyid=k", "Couldn't parse timestamp from registry record: abc"},
        {"timestamp=99999999999999999999 event=I package=p keyid=k",
         "Couldn't parse timestamp from registry record: 99999999999999999999"},
    };
    int damaged = 0;
    for (const auto &[line, reason] : rows) {
        const std::string before = std::string(line) + "\n\ntimestamp=-7 event=U package=good keyid=k\n";
        writeFile(file(), before);
        std::vector<std::string> ids;
        EXPECT_TRUE(Registry().foreachRecord([&](const RegistryRecord &r) { ids.push_back(r.packageId()); }));
        EXPECT_THAT(ids, testing::ElementsAre("good"));
        EXPECT_EQ(out.take(),
                  std::string("[W] ") + reason + "\n[W] Bad registry record found: '" + line + "'\n");
        // Killed after the second name, it makes no third.
        const std::string kept = file().string() + ".damaged-" + std::to_string(++damaged);
        if (damaged == 2)
            std::filesystem::create_hard_link(file(), kept);
        EXPECT_TRUE(damaged % 2 == 0 ? write(RegistryEvent::Install, "k") : Registry().dropBadLines());
        EXPECT_EQ(readFile(kept), before);
        EXPECT_EQ(readFile(file()).find(line), std::string::npos);
        out.take();
    }
}

TEST_F(RegistryTest, ARecordIsReadBackAsItWasWritten) {
    const auto record = parseRecord(
        "keyid=old  timestamp=+1700000000 foo=bar event=I package=demo keyid=AB prev-keyids=A->->B");
    ASSERT_TRUE(record);
    EXPECT_EQ(out.take(), "[W] Registry record contains unknown key: foo=bar\n");
    EXPECT_EQ(formatRecord(*record), "timestamp=1700000000 event=I package=demo keyid=AB prev-keyids=A->B");
    EXPECT_THROW(formatRecord({static_cast<RegistryEvent>(3), 0, "p", "k"}), std::out_of_range);
}

TEST_F(RegistryTest, FailuresComeBackAsFalseAndKeepTheOldRegistry) {
    writeFile(file(), "timestamp=1 event=I package=q keyid=k\n");
    std::filesystem::create_directories(file().string() + ".next/x");
    EXPECT_FALSE(write(RegistryEvent::Install, "K"));
    EXPECT_THAT(out.take(), HasSubstr("[E] Couldn't write records to the next registry: \"" +
                                      file().string() + ".next\"\n"));
    EXPECT_EQ(readFile(file()), "timestamp=1 event=I package=q keyid=k\n");

    // A failed look is no absence: the look at a link to itself fails, as one at a failing disk does.
    std::filesystem::remove_all(file().string() + ".next");
    std::filesystem::remove(file());
    std::filesystem::create_symlink("registry", file());
    EXPECT_FALSE(write(RegistryEvent::Install, "K"));
    EXPECT_FALSE(Registry().foreachRecord([](const RegistryRecord &) {}));
    EXPECT_TRUE(std::filesystem::is_symlink(file()));
    EXPECT_THAT(out.take(), HasSubstr("[E] Couldn't load registry records\n"));

    std::filesystem::remove(file().string() + ".lock");
    std::filesystem::create_directory(file().string() + ".lock");
    EXPECT_FALSE(Registry().foreachRecord([](const RegistryRecord &) {}));
    EXPECT_EQ(out.take(), "[E] Couldn't create the registry lock file: \"" + file().string() + ".lock\"\n");
}

TEST_F(RegistryTest, WaitsForAnotherProcess) {
    ASSERT_TRUE(write(RegistryEvent::Install, "first"));
    int ready[2];
    ASSERT_EQ(::pipe(ready), 0);
    const pid_t child = ::fork();
    if (child == 0) {
        const int lock = ::open((file().string() + ".lock").c_str(), O_RDWR);
        struct flock whole {};
        whole.l_type = F_WRLCK;
        ::fcntl(lock, F_SETLKW, &whole);
        ::write(ready[1], "x", 1) == 1 ? ::usleep(50000) : 0;
        writeFile(file(), "timestamp=1 event=I package=q keyid=late\n");
        ::_exit(0);
    }
    char byte = 0;
    ASSERT_EQ(::read(ready[0], &byte, 1), 1);
    EXPECT_TRUE(write(RegistryEvent::Install, "second"));
    EXPECT_THAT(readFile(file()), testing::StartsWith("timestamp=1 event=I package=q keyid=late\n"));
    ::waitpid(child, nullptr, 0);
}

} // namespace
