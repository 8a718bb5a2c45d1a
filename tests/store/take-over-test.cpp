#include "store-fixture.h"

#include "kelp/core/common/files/copy.h"
#include "kelp/core/common/files/filesystem.h"
#include "kelp/core/kelp/incoming/rpm-package.h"
#include "kelp/core/kelp/mappings/mapping-table.h"
#include "kelp/core/kelp/package/store-names.h"
#include "kelp/core/kelp/publication/left-behind.h"
#include "kelp/core/kelp/publication/publication-plan.h"
#include "kelp/core/kelp/take-over/rpm-staging.h"
#include "kelp/core/kelp/take-over/target-exchange.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <functional>
#include <set>
#include <sstream>

namespace {

namespace fs = std::filesystem;
using namespace Core::KELP;
using Common::ErrorCode;
using testing::UnorderedElementsAre;

TEST(PublicationPlanTest, IsReadWholeOrNotAtAll) {
    const PublicationPlan plan{{{"/usr/bin/a\nend 1", "/s/bin/a\nend 1"}, {"/usr/bin/\\n", "/s/bin/\\n"}},
                               {"/usr/share/p", "/usr/share/p/ "}};
    const TemporaryDirectory directory;
    const fs::path file = directory.path() / StoreName::publicationPlan;
    for (const PublicationPlan &written : {plan, PublicationPlan{}}) {
        writePublicationPlan(file, written);
        const std::string text = readFile(file);
        EXPECT_EQ(parsePublicationPlan(text), written);
        for (std::size_t size = 0; size < text.size(); ++size)
            EXPECT_EQ(parsePublicationPlan(text.substr(0, size)), std::nullopt) << text.substr(0, size);
    }
}

TEST(TakeOverJournalTest, IsReadWholeOrNotAtAll) {
    const std::string text = "kelp take-over 2\n"
                             "package org.app\nversion 1-1\nheader 7 abc\ndisks 11 -12 13 14\n"
                             "staging /opt/kelp/tmp/org.app\norgname org\nappname an app\n"
                             "extra certificate.id K\\n1\\\\n\n"
                             "file - 1 2 3 -4 /usr/bin/to ol\nfile l 1 5 6 7 /etc/x\nfile - - - - - /gone\n"
                             "source bin/to ol\ntarget 0 /usr/bin/to ol\nsource data/x\ntarget - /usr/x\n"
                             "directory gar /usr/share\ndirectory --- /usr/share/x\n"
                             "package org.b\nversion 2-1\nheader 8 \ndisks 11 0 13 0\nstaging /b\nend 2\n";
    const auto entries = TakeOverJournal::parse(text);
    EXPECT_EQ(TakeOverJournal::format(entries), text);
    const JournalEntry &entry = entries.at(0);
    EXPECT_EQ(entry.store, (DirectoryMark{11, -12}));
    EXPECT_EQ(entry.extras, (PackageInformation{{"certificate.id", "K\n1\\n"}}));
    EXPECT_EQ(entry.files[0].identity, (Common::FileIdentity{1, 2, 3, -4}));
    EXPECT_TRUE(!entry.files[0].isLinked && entry.files[1].isLinked && !entry.files[2].identity);
    EXPECT_TRUE(entry.directories.at(0).isAbsent && !entry.directories[1].isAbsent);

    const auto damaged = raises(ErrorCode::Internal,
                                "Couldn't read the take-over journal: " + TakeOverJournal::path().string() +
                                    "; see \"A journal that cannot be read\" in recovery.md");
    for (std::size_t size = 0; size < text.size(); ++size)
        EXPECT_THAT([&] { TakeOverJournal::parse(text.substr(0, size)); }, damaged) << size;
    for (const std::string row : {"take-over 2 > take-over 1",
                                  "package org.app\n > ",
                                  "package org.b\n > ",
                                  "version 2-1\n > ",
                                  "staging /b\n > ",
                                  "disks 11 0 13 0\n > ",
                                  "header 8 > header -8",
                                  "14\n > 14 15\n",
                                  "appname > nickname",
                                  "file l > file s",
                                  "file l > file l-",
                                  "3 -4 > -3 4",
                                  "3 -4 > 3 ",
                                  "source bin/to ol\n > ",
                                  "source > source a\nsource",
                                  "target - /usr/x\n > ",
                                  "target 0 > target 3",
                                  "target 0 > target -1",
                                  "target - /usr/x > target - ",
                                  "gar > rag",
                                  "end 2\n > end 1\n",
                                  "end 2 > end 2\nend 2"}) {
        const std::string from = row.substr(0, row.find(" > "));
        std::string torn = text;
        torn.replace(torn.find(from), from.size(), row.substr(from.size() + 3));
        EXPECT_THAT([&] { TakeOverJournal::parse(torn); }, damaged) << row;
    }
}

/// A package with everything that is published in a way of its own, on its way into the store.
class TakeOverTest : public StoreFixture {
protected:
    PackageStaging stageAll() const {
        PackageStaging staging = stage(
            "1-1", {{"bin/tool", "tool"}, {"data/sub/one", "1"}, {"data/sub/two", "2"}, {"libexec/x", "x"}});
        fs::create_symlink("sub", staging.path / "data/latest");
        fs::create_symlink("one", staging.path / "data/sub/alias");
        return staging;
    }

    void enter(const PackageStaging &staging, const std::string &subgroup) {
        entry = {{staging, extras(subgroup)}, "", 0, {}, {}, {}, {}, {}};
    }

    void stageInstalled(const std::vector<std::string> &programs, const std::string &subgroup) {
        std::vector<RpmPackage::FileEntry> files;
        enter(stage("1-1", {}), subgroup);
        for (const std::string &name : programs) {
            files.push_back({text("usr/bin/" + name), Common::Rpm::RegularFile{fs::perms(0644)}, false, 0});
            if (fs::is_symlink(files.back().path))
                files.back().kind = Common::Rpm::Symlink{fs::read_symlink(files.back().path)};
        }
        const RpmPackage package({.id = id, .version = "1-1", .orgName = "org", .appName = "app"},
                                 buildMappings(id, "K1", "org", "app", Rooted::Yes), files);
        stageInstalledPackage(
            {package, std::vector<std::uint64_t>(files.size()), std::vector<bool>(files.size(), true)},
            stored("1-1"), entry);
        note(package);
    }

    void note(const RpmPackage &package) {
        database.describeStaged(entry, entry.extras);
        noteTargets(package, stored("current"), entry);
    }

    TargetExchange exchange() { return {entry, stored("1-1"), stored("current"), identities}; }

    /// Makes of a whole publication one that was killed before its lists: the plan is there, the lists are
    /// not, and some file has not been published.
    void interruptPublication() const {
        const fs::path current = stored("current");
        writePublicationPlan(current / StoreName::publicationPlan,
                             planPublication(current, current,
                                             buildMappings(id, "K1", "org", "app", Rooted::Yes),
                                             DanglingLinks::Count));
        for (const char *list : {"symlink.list", "generated.dir.list"})
            fs::remove(current / list);
        fs::remove(at("usr/share/org.app/sub/two"));
        writeFile(at("usr/bin") / Common::unfinishedCopyName, "half a co");
    }

    void tear(const fs::path &file) const { fs::resize_file(file, fs::file_size(file) / 2); }

    void put(const std::string &what, const fs::path &place) const {
        const bool isCopied = entry.extras.at("certificate.subgroup") == "mdm";
        if (what == "rpm")
            fs::create_hard_link(at("rpms"), place);
        else if (what == "store")
            createMapping(stored("current/bin/tool"), place,
                          isCopied ? MappingMode::Copy : MappingMode::Link);
        else if (what == "dangling")
            fs::create_symlink("nowhere", place);
        else if (what != "-")
            writeFile(place, what);
    }

    std::string found(const fs::path &place) const {
        const auto identity = Common::identityAt(place);
        if (!identity || identity == Common::identityAt(at("rpms")))
            return identity ? "rpm" : "-";
        const bool isOurs = isMappingOf(place, stored("current/bin/tool"));
        return isOurs ? "store" : fs::is_symlink(place) ? "dangling" : readFile(place);
    }

    std::string outcomeOf(const std::function<void(TargetExchange &)> &operation) {
        TargetExchange targets = exchange();
        std::string error;
        try {
            operation(targets);
        } catch (const Common::Error &raised) {
            error = raised.what();
            error = error == tool.string() + " changed while it was taken over"               ? " changed"
                    : error.starts_with("Attempt to overwrite existing file using mapping: ") ? " conflict"
                                                                                              : error;
        }
        return found(tool) + " " + found(beside) + error + (targets.published().empty() ? "" : " listed");
    }

    const fs::path tool = at("usr/bin/tool");
    const fs::path beside = at("usr/bin/.kelp-4c966a1b7c70-0");
    JournalEntry entry;
    Common::IdentityComparison identities;
};

TEST_F(TakeOverTest, ATargetHoldsRpmsFileOrTheStoresAndWhatIsSomebodysStays) {
    using Obstacles = TargetExchange::Obstacles;
    const auto publish = [](TargetExchange &targets) { targets.publish(Obstacles::Raise); };
    const auto giveBack = [](bool isListed) {
        return [=](TargetExchange &targets) {
            targets.giveBack([&](const auto &path) { return isListed && path.ends_with("/usr/bin/tool"); });
        };
    };
    const auto settleNames = [](bool keepsRpms) {
        return [=](TargetExchange &targets) { targets.settleNames(keepsRpms); };
    };
    // What stands at the target and beside it, before and after; then what is raised, and listed.
    const struct {
        std::function<void(TargetExchange &)> operation;
        const char *outcomes;
        bool isRecorded = true;
        bool isOfCopies = false;
    } rows[] = {
        {publish, "rpm - > store rpm listed;store rpm > store rpm listed;- - > store - listed;"
                  "other - > other - changed;dangling - > dangling - changed"},
        {publish,
         "- - > store - listed;dangling - > store - listed;other - > other - conflict;other store > other - "
         "conflict",
         false},
        {publish, "rpm store > store rpm listed", true, true},
        {[](TargetExchange &targets) { targets.publish(Obstacles::PassOver); },
         "rpm - > store rpm listed;other - > other -"},
        {&TargetExchange::prepare, "rpm - > rpm store;- - > - store;other - > other -;store - > store -",
         true, true},
        {&TargetExchange::takeBack, "store rpm > rpm -;store - > tool -;store other > other -;rpm store > "
                                    "rpm -;- rpm > rpm -;other rpm > other -"},
        {&TargetExchange::takeBack, "store - > - -;other - > other -", false},
        {giveBack(true), "store rpm > rpm -;store - > tool -"},
        {giveBack(false), "store rpm > - -;rpm - > rpm -"},
        {settleNames(true), "store rpm > store rpm;store other > other -;- rpm > rpm -;- other > other -;- "
                            "store > - -;rpm store > rpm -;other rpm > other -;rpm other > rpm -"},
        {settleNames(false), "store rpm > rpm -;store other > other -;- rpm > rpm -"},
        {&TargetExchange::clear, "store rpm > store -;store other > store -"},
    };
    EXPECT_TRUE(isTemporaryName(beside.filename()));
    const auto expectOutcome = [&](const auto &row, const std::string &outcome) {
        JournalledTarget target = entry.targets[0];
        target.file = row.isRecorded ? std::optional(std::size_t{0}) : std::nullopt;
        entry.targets = {};
        entry.targets.push_back(target);
        fs::remove(tool), fs::remove(beside);
        const std::string before = outcome.substr(0, outcome.find(" > "));
        put(before.substr(0, before.find(' ')), tool);
        put(before.substr(before.find(' ') + 1), beside);
        EXPECT_EQ(before + " > " + outcomeOf(row.operation), outcome) << "row " << &row - rows;
    };
    for (const bool isCopied : {false, true}) {
        SCOPED_TRACE(isCopied);
        writeFile(tool, "tool");
        // A file with this bit is copied.
        ASSERT_EQ(::chmod(tool.c_str(), isCopied ? 04755 : 0755), 0);
        stageInstalled({"tool"}, isCopied ? "mdm" : "regular");
        database.place(entry);
        fs::rename(tool, at("rpms"));
        for (const auto &row : rows) {
            std::istringstream outcomes(isCopied || !row.isOfCopies ? row.outcomes : "");
            for (std::string outcome; std::getline(outcomes, outcome, ';');)
                expectOutcome(row, outcome);
        }
        for (const char *kept : {"tool.rpmsave", "tool.rpmsave.1"}) {
            EXPECT_EQ(readFile(at("usr/bin") / kept), "other") << "somebody may need the content";
            fs::remove(at("usr/bin") / kept);
        }
        writeFile(at("rpms"), "written to since");
        expectOutcome(rows[0], isCopied ? "rpm - > rpm - changed" : "rpm - > store rpm listed");
        fs::remove_all(stored("")), fs::remove(tool);
    }
}

TEST_F(TakeOverTest, ALinkThatIsMadeAgainLeadsToWhatRpmHas) {
    writeFile(tool, "tool");
    fs::create_symlink(tool, at("usr/bin/link"));
    stageInstalled({"tool", "link"}, "regular");
    database.place(entry);
    for (const char *name : {"tool", "link"}) {
        fs::remove(at("usr/bin") / name);
        createMapping(stored("current/bin") / name, at("usr/bin") / name, MappingMode::Link);
    }
    exchange().takeBack();
    EXPECT_EQ(fs::read_symlink(at("usr/bin/link")), tool) << "not into the store, which gives its tree up";
}

TEST_F(TakeOverTest, DirectoriesThatThePublicationMakesAreNoted) {
    stage("1-1", {{"bin/tool", "x"}});
    stageInstalled({}, "regular");
    std::vector<std::string> made;
    for (const JournalledDirectory &directory : std::vector<JournalledDirectory>(entry.directories))
        if (directory.isAbsent)
            made.push_back(directory.path);
    EXPECT_EQ(made, (std::vector{text("usr"), text("usr/bin")}));
}

TEST_F(TakeOverTest, AFileIsLinkedWhereACopyWouldBeEqual) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "needs root: only it can make files of other owners, and with capabilities";
    fs::create_directories(at("usr/bin"));
    const std::string make =
        "cd " + text("usr/bin") +
        " && for name in plain setuid setgid owner group capable outside one his; do echo $name >$name; done"
        " && chown 1234 owner his && chgrp 1234 group && chmod 4755 setuid && chmod 2755 setgid"
        " && setfattr --name=security.capability --value=0x0000000200000000000000000000000000000000 capable"
        " && chmod 0640 plain && ln outside ../outside && ln one two && ln his too";
    ASSERT_EQ(std::system(make.c_str()), 0);
    const std::set<std::string> linked = {"plain", "one", "two"};
    stageInstalled(
        {"plain", "setuid", "setgid", "owner", "group", "capable", "outside", "one", "two", "his", "too"},
        "regular");
    for (const JournalledFile file : entry.files) {
        const fs::path staged = entry.path / "bin" / fs::path(file.path).filename();
        EXPECT_EQ(file.isLinked, linked.contains(staged.filename())) << file.path;
        EXPECT_EQ(file.isLinked, fs::equivalent(file.path, staged)) << file.path;
        EXPECT_EQ(readFile(staged), readFile(file.path));
    }
    EXPECT_TRUE(fs::equivalent(entry.path / "bin/his", entry.path / "bin/too")) << "one copy is enough";
}

TEST_F(TakeOverTest, UpdateAndRemovalTakeBackWhatWasPublishedAndNothingElse) {
    const fs::path foreign = at("usr/libexec/org.app/x");
    for (const char *subgroup : {"regular", "mdm"}) {
        for (const bool isPlanTorn : {false, true}) {
            for (const bool isUpdate : {false, true}) {
                SCOPED_TRACE(std::string(subgroup) + (isPlanTorn ? ", torn plan" : "") +
                             (isUpdate ? ", update" : ", removal"));
                database.install(stageAll(), extras(subgroup));
                interruptPublication();
                if (isPlanTorn)
                    tear(stored("current/publication.plan"));
                fs::remove(foreign);
                fs::create_symlink("/bin/sh", foreign);

                if (isUpdate) {
                    prepare("2-1", {{"bin/tool", "new"}});
                    database.completeUpdate(id);
                    EXPECT_EQ(readFile(tool), "new");
                    EXPECT_THAT(slots(), UnorderedElementsAre("2-1", "current -> 2-1"));
                }
                database.remove(id);
                EXPECT_FALSE(fs::exists(stored("")));
                EXPECT_THAT(Common::listDirectory(at("usr"), Common::Listing::Recursive),
                            UnorderedElementsAre(at("usr/bin"), at("usr/libexec"), foreign.parent_path(),
                                                 foreign, at("usr/share")));
                EXPECT_EQ(fs::read_symlink(foreign), "/bin/sh");
                fs::remove_all(foreign.parent_path());
            }
        }
    }
}

TEST_F(TakeOverTest, WhatWasLeftBehindGoesWhereItIsOursAndDead) {
    database.install(stageAll(), extras());
    fs::create_symlink(stored("current/bin/gone"), at("usr/bin/gone"));
    fs::create_symlink(at("nowhere"), at("usr/bin/other"));
    const std::string neighbour = std::string(id) + ".new";
    noteLeftBehind(neighbour, {});
    for (const char *name : {"tool", "gone", "other"})
        noteLeftBehind(id, {{{at("usr/bin") / name, stored("current")}}, {}});
    writeFile(leftBehindFile(".next"), "killed");
    EXPECT_EQ(idsLeftBehind(), std::vector<std::string>({id, neighbour}));
    takeBackLeftBehind(id);
    EXPECT_FALSE(fs::exists(fs::symlink_status(at("usr/bin/gone"))));
    for (const char *name : {"tool", "other"})
        EXPECT_TRUE(fs::is_symlink(at("usr/bin") / name)) << name;
    EXPECT_FALSE(fs::exists(leftBehindFile(id)));

    // Before a tree takes its place, nothing is current: all of it is dead, and so are links of a killed run.
    database.remove(id);
    enter(stageAll(), "regular");
    fs::create_directories(stored(""));
    for (const char *link : {"next", "current"})
        fs::create_directory_symlink(stored("gone"), stored(link));
    fs::create_symlink(stored("current/bin/tool"), tool);
    noteLeftBehind(id, {{{tool, stored("current/bin/tool")}}, {}});
    database.place(entry);
    EXPECT_FALSE(fs::exists(fs::symlink_status(tool)));
    EXPECT_THAT(slots(), UnorderedElementsAre("1-1", "current -> 1-1"));
    prepare("2-1", {});
    database.place(entry);
    EXPECT_THAT(slots(), UnorderedElementsAre("1-1", "current -> 1-1", "2-1", "next -> 2-1"));
}

TEST_F(TakeOverTest, WhatCannotBeLookedAtIsNotedUntilItCan) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "needs root: only links that root made are followed";
    const PackageStaging staging = stage("1-1", {{"data/one", "1"}});
    fs::create_symlink("one", staging.path / "data/alias");
    database.install(staging, extras("mdm"));
    fs::rename(at("usr/share/org.app"), at("aside"));
    const std::string tooLong(300, 'x');
    fs::create_symlink(tooLong, at("usr/share/org.app"));
    database.remove(id);
    fs::remove(at("usr/share/org.app")), fs::rename(at("aside"), at("usr/share/org.app"));
    takeBackLeftBehind(id);
    EXPECT_THAT(Common::listDirectory(at("usr/share"), Common::Listing::Recursive), testing::IsEmpty());

    noteLeftBehind(id, {{}, {text(tooLong)}});
    EXPECT_THROW(takeBackLeftBehind(id), Common::Error);
}

} // namespace
