#include "store-fixture.h"

#include "kelp/core/common/files/copy.h"
#include "kelp/core/kelp/mappings/mapping-table.h"
#include "kelp/core/kelp/publication/left-behind.h"
#include "kelp/core/kelp/publication/publication-plan.h"

#include <algorithm>
#include <functional>

namespace {

namespace fs = std::filesystem;
using namespace Core::KELP;
using Common::ErrorCode;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

TEST(PublicationPlanTest, IsReadWholeOrNotAtAll) {
    const PublicationPlan plan{{{"/usr/bin/a\nend 1", "/s/bin/a\nend 1"}, {"/usr/bin/\\n", "/s/bin/\\n"}},
                               {"/usr/share/p", "/usr/share/p/ "}};
    const TemporaryDirectory directory;
    const fs::path file = directory.path() / publicationPlanName;
    for (const PublicationPlan &written : {plan, PublicationPlan{}}) {
        writePublicationPlan(file, written, Common::Durability::Flushed);
        const std::string text = readFile(file);
        EXPECT_EQ(parsePublicationPlan(text), written);
        for (std::size_t size = 0; size < text.size(); ++size)
            EXPECT_EQ(parsePublicationPlan(text.substr(0, size)), std::nullopt) << text.substr(0, size);
    }
}

/// A package with everything that is published in a way of its own.
class InterruptionTest : public StoreFixture {
protected:
    PackageStaging stageAll(const std::string &version = "1-1") const {
        PackageStaging staging =
            stage(version,
                  {{"bin/tool", "tool"}, {"data/sub/one", "1"}, {"data/sub/two", "2"}, {"libexec/x", "x"}});
        fs::create_symlink("sub", staging.path / "data/latest");
        fs::create_symlink("one", staging.path / "data/sub/alias");
        return staging;
    }

    /// Everything that the package has published, and that the system holds of it.
    void expectWhole(const std::string &subgroup) const {
        EXPECT_THAT(slots(), UnorderedElementsAre("1-1", "current -> 1-1"));
        for (const auto &[target, content] : {std::pair("usr/bin/tool", "tool"),
                                              {"usr/share/org.app/sub/one", "1"},
                                              {"usr/share/org.app/sub/two", "2"},
                                              {"usr/share/org.app/sub/alias", "1"},
                                              {"usr/share/org.app/latest/two", "2"},
                                              {"usr/libexec/org.app/x", "x"}})
            EXPECT_EQ(readFile(at(target)), content) << target;
        EXPECT_EQ(fs::is_symlink(at("usr/bin/tool")), subgroup != "mdm");
        EXPECT_EQ(fs::read_symlink(at("usr/share/org.app/latest")), stored("current/data/latest"));
        EXPECT_EQ(linesOf("symlink.list"), 6);
        EXPECT_EQ(linesOf("generated.dir.list"), 3);
        EXPECT_EQ(linesOf("velura.pkg"), 8);
        EXPECT_FALSE(fs::exists(stored("current/publication.plan")));
        EXPECT_FALSE(fs::exists(at("usr/bin") / Common::unfinishedCopyName));
    }

    void expectNothing() const {
        EXPECT_FALSE(fs::exists(stored("")));
        EXPECT_THAT(contentOf("usr/bin"), IsEmpty());
        EXPECT_FALSE(fs::exists(at("usr/share/org.app")));
        EXPECT_FALSE(fs::exists(at("usr/libexec/org.app")));
    }

    std::ptrdiff_t linesOf(const std::string &name) const {
        const std::string text = readFile(stored("current/" + name));
        return std::count(text.begin(), text.end(), '\n');
    }

    std::vector<std::string> contentOf(const std::string &directory) const {
        std::vector<std::string> names;
        for (const auto &entry : fs::directory_iterator(at(directory)))
            names.push_back(entry.path().filename());
        return names;
    }

    /// Makes of a whole publication one that was killed before its lists: the plan is there, the lists are
    /// not, and some file has not been published.
    void interruptPublication() const {
        const fs::path current = stored("current");
        writePublicationPlan(current / publicationPlanName,
                             planPublication(current, current,
                                             buildMappings(id, "K1", "org", "app", Rooted::Yes),
                                             DanglingLinks::Count),
                             Common::Durability::Flushed);
        for (const char *list : {"symlink.list", "generated.dir.list"})
            fs::remove(current / list);
        fs::remove(at("usr/share/org.app/sub/two"));
        writeFile(at("usr/bin") / Common::unfinishedCopyName, "half a co");
    }

    void tear(const fs::path &file) const { fs::resize_file(file, fs::file_size(file) / 2); }
};

TEST_F(InterruptionTest, TheTakeOverGoesForwardFromEveryState) {
    PackageStaging staging;
    std::string subgroup;
    const auto linkTo = [&](const char *link, const char *version) {
        return [=, this] { fs::create_directory_symlink(stored(version), stored(link)); };
    };
    const auto torn = [&](const char *file) { return [=, this] { tear(stored("current") / file); }; };
    const auto older = [&] { writeFile(stored("1-1/bin/old"), ""), describe("0-1"); };
    const auto moved = [&] {
        fs::create_directories(stored(""));
        fs::rename(staging.path, stored("1-1"));
    };
    const auto tornDescriptor = [&] { writeFile(stored("1-1/velura.pkg"), "[gene"); };
    const auto whole = [&] { database.takeOver(staging, extras(subgroup)); };
    const auto interrupted = [&] { interruptPublication(); };
    const auto noDirectories = [&] { fs::remove(stored("current/generated.dir.list")); };
    const auto tornCopy = [&] { subgroup == "mdm" ? tear(at("usr/bin/tool")) : void(); };
    const auto moveUndone = [&] { fs::rename(stored("1-1"), staging.path), fs::remove(stored("current")); };
    const auto behind = [&] {
        const PlannedFile old{at("usr/bin/old"), stored("current/bin/old")};
        fs::create_symlink(old.source, old.target);
        noteLeftBehind(id, {{old}, {}});
    };
    const std::vector<std::function<void()>> rows[] = {
        {},
        {behind},
        {older, linkTo("next", "1-1"), linkTo("current", "gone")},
        {moved},
        {moved, tornDescriptor},
        {moved, linkTo("next", "1-1")},
        {moved, linkTo("current", "1-1")},
        {whole, interrupted},
        {whole, interrupted, torn("publication.plan")},
        {whole, noDirectories},
        {whole, torn("symlink.list"), torn("generated.dir.list"), torn("velura.pkg"), tornCopy},
        {whole, moveUndone},
        {whole},
    };
    for (const char *mode : {"regular", "mdm"}) {
        subgroup = mode;
        for (const auto &row : rows) {
            SCOPED_TRACE(subgroup + ", row " + std::to_string(&row - rows));
            staging = stageAll();
            for (const auto &step : row)
                step();
            whole();
            expectWhole(subgroup);
            database.remove(id);
            expectNothing();
        }
    }
}

TEST_F(InterruptionTest, ATakeOverThatFailsThrowsNothingAway) {
    const auto staging = stageAll();
    writeFile(at("usr/libexec/org.app/x"), "a user's own");
    for (int attempt = 0; attempt < 2; ++attempt)
        EXPECT_THAT([&] { database.takeOver(staging, extras("mdm")); },
                    raises(ErrorCode::FileConflict, "Attempt to overwrite existing file using mapping: " +
                                                        text("usr/libexec/org.app/x")));
    EXPECT_EQ(readFile(stored("1-1/libexec/x")), "x");
    EXPECT_FALSE(fs::exists(at("usr/bin/tool")));
    fs::rename(stored("1-1"), at("rescued"));
    database.discardFailedInstallation(id);
    EXPECT_FALSE(fs::exists(stored("")));
    EXPECT_EQ(recordedEvents().size(), 1u);

    EXPECT_THAT([&] { database.takeOver(staging, extras()); }, testing::Throws<Common::Error>())
        << "there is no tree any more";
    EXPECT_FALSE(database.isInstalled(id));
    install("2-1", {});
    EXPECT_THAT([&] { database.takeOver(stageAll(), extras()); },
                raises(ErrorCode::Internal, "Package org.app already installed"));
    EXPECT_EQ(versionOfRecord(), "2-1");
}

TEST_F(InterruptionTest, UpdateAndRemovalTakeBackWhatWasPublishedAndNothingElse) {
    for (const char *subgroup : {"regular", "mdm"}) {
        for (const bool isPlanTorn : {false, true}) {
            for (const bool isUpdate : {false, true}) {
                SCOPED_TRACE(std::string(subgroup) + (isPlanTorn ? ", torn plan" : "") +
                             (isUpdate ? ", update" : ", removal"));
                database.install(stageAll(), extras(subgroup));
                interruptPublication();
                if (isPlanTorn)
                    tear(stored("current/publication.plan"));
                fs::remove(at("usr/libexec/org.app/x"));
                fs::create_symlink("/bin/sh", at("usr/libexec/org.app/x"));

                if (isUpdate) {
                    prepare("2-1", {{"bin/tool", "new"}});
                    database.completeUpdate(id);
                    EXPECT_EQ(readFile(at("usr/bin/tool")), "new");
                    EXPECT_THAT(slots(), UnorderedElementsAre("2-1", "current -> 2-1"));
                }
                database.remove(id);
                EXPECT_EQ(fs::read_symlink(at("usr/libexec/org.app/x")), "/bin/sh");
                fs::remove_all(at("usr/libexec/org.app"));
                expectNothing();
            }
        }
    }
}

TEST_F(InterruptionTest, WhatWasLeftBehindGoesWhereItIsOursAndDead) {
    database.install(stageAll(), extras());
    fs::create_symlink(stored("current/bin/gone"), at("usr/bin/gone"));
    fs::create_symlink(at("nowhere"), at("usr/bin/other"));
    for (const char *name : {"tool", "gone", "other"})
        noteLeftBehind(id, {{{at("usr/bin") / name, stored("current")}}, {}});
    takeBackLeftBehind(id);
    EXPECT_THAT(contentOf("usr/bin"), UnorderedElementsAre("tool", "other"));
    EXPECT_FALSE(fs::exists(leftBehindFile(id)));
}

} // namespace
