#include "store-fixture.h"

#include "kelp/core/common/files/extended-attributes.h"
#include "kelp/core/kelp/mappings/mapping-files.h"
#include "support/no-more-files.h"

#include <unistd.h>

#include <algorithm>
#include <functional>

namespace {

namespace fs = std::filesystem;
using Common::ErrorCode;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

class FSDatabaseTest : public StoreFixture {};

TEST_F(FSDatabaseTest, InstallationPublishesTheFilesAsLinks) {
    install("1-1", {{"bin/tool", "x"}, {"data/qml/Main.qml", "m"}, {"unmapped/file", "u"}});
    EXPECT_EQ(fs::read_symlink(stored("current")), stored("1-1")) << "by its absolute path";
    EXPECT_EQ(fs::read_symlink(at("usr/bin/tool")), stored("current/bin/tool")) << "which outlives an update";
    EXPECT_FALSE(fs::exists(at("unmapped")));
    EXPECT_EQ(readFile(stored("current/symlink.list")),
              text("usr/bin/tool") + "\n" + text("usr/share/org.app/qml/Main.qml") + "\n");
    EXPECT_EQ(readFile(stored("current/generated.dir.list")),
              text("usr/share/org.app/qml") + "\n" + text("usr/share/org.app") + "\n");
    EXPECT_EQ(readFile(stored("current/velura.pkg")),
              "[general]\nid=org.app\nversion=1-1\norgname=org\nappname=app\n[certificate]\nid=K1\n"
              "subgroup=regular\n");
    EXPECT_THAT([&] { install("2-1", {}); },
                raises(ErrorCode::Internal, "Package org.app already installed"));
    EXPECT_EQ(versionOfRecord(), "1-1");
}

TEST_F(FSDatabaseTest, OneFileThatNeedsACopyMakesCopiesOfAll) {
    const std::pair<Files, std::string> rows[] = {
        {{{"bin/tool", "x"}, {"connman/plugin/vpn.so", "p"}}, "regular"},
        {{{"bin/tool", "x"}, {"vendor-common/words", "w"}}, "regular"},
        {{{"bin/tool", "x"}}, "mdm"},
    };
    for (const auto &[files, subgroup] : rows) {
        install("1-1", files, subgroup);
        EXPECT_FALSE(fs::is_symlink(at("usr/bin/tool")));
        EXPECT_EQ(Common::extendedAttribute(at("usr/bin/tool"), "user.kelp.mapping.target"),
                  stored("current/bin/tool").string());
        database.remove(id);
        EXPECT_FALSE(fs::exists(at("usr/bin/tool")));
    }
}

TEST_F(FSDatabaseTest, RemovalTakesBackWhatIsStillAMappingAndEmpty) {
    install("1-1", {{"bin/a", "a"}, {"bin/b", "b"}, {"data/x", "x"}, {"libexec/sub/y", "y"}}, "mdm");
    fs::remove(at("usr/bin/a"));
    writeFile(at("usr/bin/a"), "a user's own");
    writeFile(at("usr/share/org.app/settings"), "a user's own");
    fs::remove(at("usr/libexec/org.app/sub/y"));
    fs::create_symlink(at("opt/app/org.apple/current/y"), at("usr/libexec/org.app/sub/y"));
    database.remove(id);
    EXPECT_EQ(readFile(at("usr/bin/a")), "a user's own");
    EXPECT_FALSE(fs::exists(at("usr/bin/b")));
    EXPECT_TRUE(fs::exists(at("usr/share/org.app/settings")));
    EXPECT_TRUE(fs::is_symlink(at("usr/libexec/org.app/sub/y"))) << "another's";
    EXPECT_FALSE(fs::exists(stored("")));
    EXPECT_THAT([&] { database.remove(id); },
                raises(ErrorCode::PackageNotExist, "Attempt to remove non existent package org.app"));

    install("1-1", {});
    prepare("2-1", {});
    fs::create_directory(stored("prev"));
    EXPECT_THROW(database.remove(id), Common::Error) << "2-1 cannot go";
    EXPECT_TRUE(database.isInstalled(id));
    fs::remove(stored("prev"));
    fs::create_symlink(at("usr"), stored("prev"));
    database.remove(id);
    EXPECT_FALSE(fs::exists(stored("")));
    EXPECT_TRUE(fs::exists(at("usr")));
}

/// A state of a package by its three links, and what completeUpdate() makes of it.
struct State {
    /// From an installed 1-1 and a prepared 2-1: names in the package's directory that change, or go.
    std::vector<std::pair<const char *, const char *>> renames;
    bool isInstalled;
    std::string record;                 ///< The version of record, or the error.
    std::vector<std::string> completed; ///< Slots afterwards, or the error.
};

const std::string notInstalled = "Package org.app not installed";
const std::string nothingPrepared = "Attempt to complete non-existent update for org.app package";
const std::vector<std::string> updated = {"2-1", "current -> 2-1"};

const State states[] = {
    {{{"", ""}}, false, notInstalled, {nothingPrepared}},
    {{{"current", ""}, {"1-1", ""}}, false, notInstalled, updated},
    {{{"next", ""}}, true, "1-1", {nothingPrepared}},
    {{}, true, "2-1", updated},
    {{{"current", "prev"}}, false, notInstalled, updated},
    {{{"current", "prev"}, {"next", "current"}}, true, "2-1", {nothingPrepared}},
};

TEST_F(FSDatabaseTest, EveryStateIsReadAndCompleted) {
    const auto orError = [](const auto &operation) -> std::vector<std::string> {
        try {
            return operation();
        } catch (const Common::Error &error) {
            return {error.what()};
        }
    };
    for (const State &state : states) {
        SCOPED_TRACE(&state - states);
        install("1-1", {{"bin/tool", "old"}, {"bin/gone", ""}, {"data/x", "x"}});
        prepare("2-1", {{"bin/tool", "new"}});
        // An update takes the old version's files back before it renames the first link.
        if (!state.renames.empty())
            database.tryRemoveMappingsUsingCurrentDirectory(id);
        for (const auto &[from, to] : state.renames)
            *to ? fs::rename(stored(from), stored(to)) : void(fs::remove_all(stored(from)));

        EXPECT_EQ(database.isInstalled(id), state.isInstalled);
        EXPECT_THAT(orError([&] { return std::vector{versionOfRecord()}; }), ElementsAre(state.record));
        const auto before = slots();
        const auto completed = orError([&] {
            database.completeUpdate(id);
            EXPECT_EQ(readFile(at("usr/bin/tool")), "new");
            EXPECT_FALSE(fs::exists(fs::symlink_status(at("usr/bin/gone"))));
            EXPECT_FALSE(fs::exists(at("usr/share/org.app")));
            return slots();
        });
        EXPECT_THAT(completed, testing::UnorderedElementsAreArray(state.completed));
        EXPECT_THAT(slots(),
                    testing::UnorderedElementsAreArray(state.completed == updated ? updated : before));
        fs::remove_all(at("opt/app"));
        fs::remove_all(at("usr"));
    }
}

TEST_F(FSDatabaseTest, ARemovalThatEndsHalfwayLeavesTheDescriptor) {
    install("1-1", {});
    // Its open directories are more than there may be open files.
    std::string deep(120, '/');
    for (std::size_t i = 0; i < deep.size(); i += 2)
        deep[i] = 'd';
    // Which entry of a directory comes first, depends on the name.
    for (int i = 0; i < 8; ++i) {
        fs::create_directories(stored("0.9-1/" + std::to_string(i) + deep));
        describe("0.9-1");
        {
            const NoMoreFiles limit(40);
            database.cleanupVersionsExceptCurrent(id);
        }
        EXPECT_TRUE(fs::exists(stored("0.9-1/velura.pkg"))) << "otherwise nobody would own the rest";
        database.cleanupVersionsExceptCurrent(id);
        EXPECT_THAT(slots(), UnorderedElementsAre("1-1", "current -> 1-1"));
    }
}

TEST_F(FSDatabaseTest, CleanupKeepsCurrentAndWhatIsNotOurs) {
    install("2-1", {});
    for (const char *name : {"photos", ".install", ".upgrade", ".remove"})
        writeFile(stored(name) / "file", "");
    describe("1.0-1");
    fs::create_symlink(stored("gone"), stored("prev"));
    fs::create_symlink(stored("2-1"), stored("next"));
    database.cleanupVersionsExceptCurrent(id);
    EXPECT_THAT(slots(),
                UnorderedElementsAre("2-1", "current -> 2-1", "photos", ".install", ".upgrade", ".remove"));

    out.take();
    database.cleanupVersionsExceptCurrent("org.none");
    EXPECT_THAT(out.take(), testing::EndsWith("[W] Couldn't determinate actual version directory\n"
                                              "[W] Couldn't read symlink: " +
                                              text("opt/app/org.none/current") + "\n"));
}

TEST_F(FSDatabaseTest, WhatCouldNotBeRemovedIsPublishedOver) {
    install("1-1", {{"bin/tool", "old"}});
    // A list that does not name a mapping leaves it where a removal that fails does. Its torn line names a
    // link of the system.
    fs::create_symlink("dash", at("usr/bin/t"));
    writeFile(stored("1-1/symlink.list"), text("usr/bin/t"));
    prepare("2-1", {{"bin/tool", "new"}});
    database.completeUpdate(id);
    EXPECT_EQ(readFile(at("usr/bin/tool")), "new");
    EXPECT_TRUE(fs::is_symlink(at("usr/bin/t")));
}

TEST_F(FSDatabaseTest, AFailedUpdateBringsThePreviousVersionBackWhenItIsNotCorrupted) {
    const auto fillDisk = [&] {
        for (const char *file : {"publication.plan", "symlink.list", "generated.dir.list"})
            writeFile(stored("1-1") / (std::string(file) + ".new/in the way"), "");
    };
    const auto hideDescriptor = [&] {
        fs::remove(stored("1-1/velura.pkg"));
        fs::create_symlink("not there now", stored("1-1/velura.pkg"));
    };
    const auto blockDirectory = [&] {
        fs::remove_all(at("usr/libexec"));
        writeFile(at("usr/libexec"), "");
    };
    const auto replaceTool = [&] {
        fs::remove(at("usr/bin/tool"));
        writeFile(at("usr/bin/tool"), "mine");
    };
    const struct {
        std::function<void()> spoil;
        std::string stored;
        std::string published;
        std::vector<std::string> events;
    } rows[] = {
        {[] {}, "old", "old", {}},
        {fillDisk, "old", "old", {}},
        {hideDescriptor, "old", "", {}},
        {blockDirectory, "old", "", {}},
        {replaceTool, "old", "mine", {}},
        {[&] { breakDescriptor("1-1"); },
         "",
         "",
         {"1 14 Package: org.app\nVersion: cannot be accurately determined\nReason: corrupted"}},
    };
    const auto content = [](const fs::path &path) { return fs::exists(path) ? readFile(path) : ""; };
    writeFile(at("usr/bin/stranger"), "a user's own");
    for (const auto &row : rows) {
        install("1-1", {{"bin/tool", "old"}, {"libexec/x", "x"}});
        prepare("2-1", {{"bin/aaa", "new"}, {"bin/stranger", "new"}});
        row.spoil();
        out.take();
        EXPECT_THAT([&] { database.completeUpdate(id); },
                    raises(ErrorCode::FileConflict,
                           "Attempt to overwrite existing file using mapping: " + text("usr/bin/stranger")))
            << "the first failure counts";
        EXPECT_THAT(out.take(),
                    testing::StartsWith(
                        "[E] Attempt to overwrite existing file using mapping: " + text("usr/bin/stranger") +
                        "\n[I] Cleaning up generated mappings\n"
                        "[I] Recovering the previous version package corrupted by the upgrade: org.app\n"));
        EXPECT_EQ(readFile(at("usr/bin/stranger")), "a user's own");
        EXPECT_FALSE(fs::exists(fs::symlink_status(at("usr/bin/aaa"))));
        EXPECT_FALSE(fs::exists(stored("2-1")));
        EXPECT_EQ(content(stored("current/bin/tool")), row.stored);
        EXPECT_EQ(content(at("usr/bin/tool")), row.published);
        EXPECT_EQ(recordedEvents(), row.events);
        fs::remove_all(stored(""));
        fs::remove_all(at("usr/libexec"));
        fs::remove(at("usr/bin/tool"));
    }
}

TEST_F(FSDatabaseTest, AFirstInstallThatFailsOnceItIsCurrentIsRemoved) {
    const std::function<void(const fs::path &)> rows[] = {
        [&](const fs::path &) { writeFile(at("usr/bin/tool"), "a user's own"); },
        [](const fs::path &staging) { fs::create_symlink("leads nowhere", staging / "bin/alias"); },
    };
    for (const int i : {0, 1, 2, 3}) {
        const auto staging = stage("1-1", {{"bin/tool", "x"}});
        rows[i / 2](staging.path);
        if (i % 2)
            database.prepareUpdate(staging, extras());
        EXPECT_THROW(i % 2 ? database.completeUpdate(id) : database.install(staging, extras()),
                     Common::Error);
        EXPECT_FALSE(fs::exists(stored("")));
        EXPECT_EQ(recordedEvents().size(), 1u);
        recordedEvents().clear();
        fs::remove_all(at("usr"));
    }
}

TEST_F(FSDatabaseTest, AFirstInstallThatFailsEarlierStaysBehindUninstalled) {
    const auto staging = stage("1-1", {{"bin/tool", "x"}});
    fs::create_directories(stored(""));
    fs::create_symlink("nowhere", stored("next"));
    out.take();
    EXPECT_THAT([&] { database.install(staging, extras()); },
                raises(ErrorCode::Filesystem, "Couldn't create symlink " + stored("next").string() +
                                                  " pointing to " + stored("1-1").string()));
    EXPECT_THAT(out.take(),
                testing::EndsWith("[I] Cleaning up unsuccessfully installed package: org.app\n"
                                  "[W] Couldn't cleanup the unsuccessfully installed package: org.app\n"
                                  "[W] Attempt to remove non existent package org.app\n"));
    EXPECT_THAT(slots(), testing::Contains("1-1"));
    EXPECT_FALSE(database.isInstalled(id));

    fs::remove(stored("next"));
    install("1-1", {{"bin/tool", "y"}});
    EXPECT_EQ(readFile(at("usr/bin/tool")), "y") << "what stayed behind is no hindrance";
}

TEST_F(FSDatabaseTest, APreparedVersionIsDroppedForItsDescriptorAndNotForAFailure) {
    const std::string error = "Couldn't read velura.pkg file of the org.app package";
    const auto readWithoutFiles = [&] {
        const NoMoreFiles limit;
        database.packageInfo(id);
    };
    install("1-1", {{"bin/tool", "old"}});
    EXPECT_THAT(readWithoutFiles, raises(ErrorCode::CorruptedInstalledPackage, error));
    prepare("2-1", {});
    EXPECT_THAT(readWithoutFiles, raises(ErrorCode::CorruptedInstalledPackage, error));
    EXPECT_THAT(slots(), UnorderedElementsAre("1-1", "current -> 1-1", "2-1", "next -> 2-1"));
    breakDescriptor("2-1");
    out.take();
    EXPECT_EQ(versionOfRecord(), "1-1");
    EXPECT_EQ(out.take(), "[W] Corrupted package next directory: \"" + stored("next").string() +
                              "\"\n[I] Cleaning all package versions except current: org.app\n");
    EXPECT_THAT(slots(), UnorderedElementsAre("1-1", "current -> 1-1"));
}

TEST_F(FSDatabaseTest, LinksAreAbsoluteWhateverTheRootPrefixIs) {
    const auto workingDirectory = fs::current_path();
    fs::current_path(root.path());
    // Without a prefix mappings would lead to the machine's own /usr.
    const std::pair<const char *, Files> rows[] = {{"", {}},
                                                   {"image", {{"bin/tool", "x"}, {"3rdparty/y", "y"}}}};
    for (const auto &[prefix, files] : rows) {
        const ScopedEnvironment environment("KELP_ROOT_FS", prefix);
        const Core::Configuration other;
        const Core::KELP::DatabasePathResolver otherResolver(other);
        Core::KELP::FSDatabase(other, otherResolver).install(stage("1-1", files), extras());
        EXPECT_EQ(fs::read_symlink(at(prefix) / "opt/app/org.app/current"),
                  at(prefix) / "opt/app/org.app/1-1");
    }
    EXPECT_EQ(Core::KELP::mappingTarget("image/usr/bin/tool"), at("image/opt/app/org.app/current/bin/tool"));
    EXPECT_EQ(readFile("image/opt/app/org.app/current/symlink.list"),
              text("image/usr/bin/tool") + "\n" + text("image/usr/lib/3rdparty/org.app/y") + "\n");
    fs::current_path(workingDirectory);
}

TEST_F(FSDatabaseTest, ACorruptedPackageIsRemovedAndTheOthersAreListed) {
    install("1-1", {{"bin/tool", "x"}});
    breakDescriptor("1-1");
    writeFile(at("var/lib/kelp/registry"), "timestamp=2 event=R package=org.app keyid=K1\n");
    database.packages();
    EXPECT_TRUE(database.isInstalled(id)) << "of what was removed, nothing says that this is a package";
    writeFile(at("var/lib/kelp/registry"), "timestamp=1 event=I package=org.app keyid=K1\n");
    auto other = stage("1-1", {});
    other.id = "org.other";
    database.install(other, extras());
    out.take();
    const auto packages = database.packages();
    ASSERT_EQ(packages.size(), 1u);
    EXPECT_EQ(packages.front().at("general.id"), "org.other");
    EXPECT_EQ(out.take(), "[E] Couldn't parse velura.pkg file: " + stored("current/velura.pkg").string() +
                              "\n[I] Cleaning up corrupted installed package org.app\n"
                              "[W] Couldn't read velura.pkg file of the org.app package\n");
    EXPECT_FALSE(fs::exists(stored("")));
    EXPECT_FALSE(fs::exists(fs::symlink_status(at("usr/bin/tool"))));
}

TEST_F(FSDatabaseTest, NewerIsWhatRpmCallsNewer) {
    install("1.9-1", {});
    for (const auto &[version, isNewer] : {std::pair("1.10-1", true),
                                           {"1.9-2", true},
                                           {"1:0.1-1", true},
                                           {"1.9-1", false},
                                           {"1.9~rc1-1", false},
                                           {"", false}})
        EXPECT_EQ(database.isNewerThanInstalled(id, version), isNewer) << version;
    prepare("2-1", {});
    EXPECT_FALSE(database.isNewerThanInstalled(id, "2-1")) << "the prepared version counts";
    std::string descriptor = readFile(stored("2-1/velura.pkg"));
    writeFile(stored("2-1/velura.pkg"), descriptor.insert(descriptor.find("2-1"), 1, '\0'));
    EXPECT_TRUE(database.isNewerThanInstalled(id, "1.10-1")) << "one with another's descriptor does not";
    EXPECT_THROW(database.completeUpdate(id), Common::Error);
    writeFile(at("var/lib/kelp/registry"), "timestamp=1 event=I package=org.app keyid=K1\n");
    breakDescriptor("1.9-1");
    EXPECT_THROW(database.packageInfo(id), Common::Error) << "a removal would take another's along";
    EXPECT_THAT(slots(), UnorderedElementsAre("1.9-1", "current -> 1.9-1", "2-1", "next -> 2-1"));
    EXPECT_FALSE(database.isNewerThanInstalled("org.none", "1"));
}

TEST_F(FSDatabaseTest, APackageDoesNotSpeakForTheStore) {
    // It names a link of the system as its own publication, and a directory of the system as its resources.
    fs::create_directories(at("etc"));
    fs::create_symlink("etc", at("link"));
    writeFile(at("usr/bin/tool"), "a user's own");
    const auto staging =
        stage("1-1", {{"bin/tool", "x"},
                      {"symlink.list", text("link") + "\n"},
                      {"publication.plan", "target " + text("link") + "\nsource etc\nend 1\n"}});
    fs::create_symlink(at("etc"), staging.path / "@resources");
    EXPECT_THROW(database.install(staging, extras()), Common::Error);
    EXPECT_TRUE(fs::is_symlink(at("link")));

    fs::remove(at("usr/bin/tool"));
    const auto again = stage("1-1", {{"bin/a\n" + text("link"), "x"},
                                     {"generated.dir.list", text("etc") + "\n"},
                                     {"contents.list", "x"}});
    fs::create_symlink(at("etc"), again.path / "@resources");
    database.install(again, extras());
    for (const char *own : {"current/@resources", "current/contents.list"})
        EXPECT_FALSE(fs::exists(fs::symlink_status(stored(own)))) << own;
    database.remove(id);
    EXPECT_TRUE(fs::is_symlink(at("link"))) << "a line feed in a name does not make a second path";
    EXPECT_TRUE(fs::exists(at("etc")));
}

TEST_F(FSDatabaseTest, NothingWalksThroughALinkThatSomebodyPutInItsWay) {
    install("1-1", {{"data/sub/x", "x"}, {"data/sub/empty/y", "y"}});
    fs::create_directories(at("home"));
    fs::rename(at("usr/share/org.app/sub"), at("home/elsewhere"));
    fs::remove(at("home/elsewhere/empty/y"));
    fs::create_directory_symlink(at("home/elsewhere"), at("usr/share/org.app/sub"));
    const uid_t somebody = ::geteuid() == 0 ? 1234 : ::geteuid();
    ASSERT_EQ(::lchown(at("usr/share/org.app/sub").c_str(), somebody, ::getegid()), 0);
    database.remove(id);
    EXPECT_TRUE(fs::is_symlink(at("home/elsewhere/x")));
    EXPECT_TRUE(fs::exists(at("home/elsewhere/empty")));
    EXPECT_TRUE(fs::is_symlink(at("usr/share/org.app/sub")));
    EXPECT_FALSE(fs::exists(at("var/lib/kelp/left-behind"))) << "it is nothing of ours";

    EXPECT_THROW(install("2-1", {{"data/sub/new/z", "z"}}), Common::Error);
    EXPECT_FALSE(fs::exists(at("home/elsewhere/new")));
}

} // namespace
