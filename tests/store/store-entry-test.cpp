#include "store-fixture.h"

#include "kelp/core/kelp/package/store-entry.h"

namespace {

namespace fs = std::filesystem;
using namespace Core::KELP;
using Lead = StoreEntry::Lead;
using testing::ElementsAre;

class StoreEntryTest : public StoreFixture {
protected:
    StoreEntryTest() {
        for (const char *version : {"1-1", "2-1"})
            describe(version);
        writeFile(at("opt/app/org.other/1-1/velura.pkg"), "");
        writeFile(stored("file"), "");
        writeFile(stored("1-1/deeper/file"), "");
        fs::create_symlink("1-1", stored("link"));
        fs::create_symlink("app", at("opt/alias"));
    }

    StoreEntry entry{resolver, id};
};

TEST_F(StoreEntryTest, ALinkCountsByTheDirectoryThatItLeadsTo) {
    const struct {
        fs::path target;
        Lead lead;
        std::string version;
    } rows[] = {
        {stored("1-1"), Lead::Version, "1-1"},  {at("opt/alias/org.app/1-1"), Lead::Version, "1-1"},
        {"link", Lead::Version, "1-1"},         {"gone", Lead::Nowhere, "gone"},
        {"/nowhere/1-1", Lead::Nowhere, "1-1"}, {at("opt/app/org.other/1-1"), Lead::Elsewhere, ""},
        {"1-1/deeper", Lead::Elsewhere, ""},    {".", Lead::Elsewhere, ""},
        {"file", Lead::Elsewhere, ""},          {"current", Lead::Elsewhere, ""},
    };
    EXPECT_EQ(entry.slot(PackageSlot::Current).lead, Lead::Absent);
    for (const auto &[target, lead, version] : rows) {
        fs::create_symlink(target, stored("current"));
        EXPECT_EQ(entry.slot(PackageSlot::Current).lead, lead) << target;
        EXPECT_EQ(entry.slot(PackageSlot::Current).version, version) << target;
        EXPECT_EQ(database.isInstalled(id), lead == Lead::Version) << target;
        fs::remove(stored("current"));
    }
    fs::create_directories(stored("current"));
    EXPECT_EQ(entry.slot(PackageSlot::Current).lead, Lead::NoLink);
}

TEST_F(StoreEntryTest, WhatNoDescriptorLinkOrNoteNamesIsForeign) {
    for (const char *name : {"named", "noted", "other", ".remove"})
        fs::create_directories(stored(name));
    fs::create_symlink("named", stored("prev"));
    fs::copy(stored("1-1/velura.pkg"), stored("other"));
    const auto content = entry.content({"noted", "file"});
    EXPECT_THAT(content.own, ElementsAre("1-1", "2-1", "named", "noted"));
    EXPECT_THAT(content.foreign, ElementsAre("file", "link", "other"));
    for (const auto &[version, objection] :
         {std::pair("1-1", ""), {"3-1", ""}, {"named", ""}, {"other", "other is somebody else's"}})
        EXPECT_EQ(entry.objectionTo(version), *objection ? text("opt/app/org.app/") + objection : "");
    fs::create_symlink("other", stored("next"));
    EXPECT_EQ(entry.objection(), text("opt/app/org.app/next does not lead to a version of the package"));
}

TEST_F(StoreEntryTest, TheStoreTouchesNothingOfSomebodyElse) {
    fs::remove_all(stored(""));
    install("1-1", {{"bin/tool", "x"}});
    for (const char *name : {"srv/photos/a", "opt/app/site/r1/index", "opt/app/org.app/mine/file"})
        writeFile(at(name), "");
    fs::create_symlink(at("srv/photos"), at("opt/app/photos"));
    fs::create_symlink("r1", at("opt/app/site/current"));
    fs::create_symlink("gone", at("opt/app/gone"));
    fs::copy(stored(""), at("opt/app/org.app.old"),
             fs::copy_options::recursive | fs::copy_options::copy_symlinks);
    EXPECT_EQ(database.packages().size(), 1u);
    for (const char *other : {"org.app.old", "photos", "../../srv/photos"})
        EXPECT_THROW(database.remove(other), Common::Error) << other;
    EXPECT_EQ(readFile(at("usr/bin/tool")), "x");
    database.remove(id);
    EXPECT_THAT(slots(), ElementsAre("mine"));
    for (const char *name : {"opt/app/photos/a", "opt/app/site/r1/index", "opt/app/org.app/mine/file",
                             "opt/app/org.app.old/1-1/velura.pkg"})
        EXPECT_TRUE(fs::exists(at(name))) << name;
}

} // namespace
