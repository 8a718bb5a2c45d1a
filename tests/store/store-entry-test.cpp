#include "store-fixture.h"

#include "kelp/core/kelp/package/store-entry.h"

#include <tuple>

namespace {

namespace fs = std::filesystem;
using namespace Core::KELP;
using Lead = StoreEntry::Lead;
using testing::ElementsAre;

class StoreEntryTest : public StoreFixture {
protected:
    StoreEntry entry{resolver, id};
};

TEST_F(StoreEntryTest, ALinkCountsByTheDirectoryThatItLeadsTo) {
    writeFile(stored("1-1/deeper/file"), "");
    writeFile(at("opt/app/org.other/1-1/file"), "");
    fs::create_symlink("1-1", stored("link"));
    fs::create_symlink("app", at("opt/alias"));
    const std::tuple<fs::path, Lead, std::string> rows[] = {
        {stored("1-1"), Lead::Version, "1-1"},    {at("opt/alias/org.app/1-1"), Lead::Version, "1-1"},
        {"link", Lead::Version, "1-1"},           {"gone", Lead::Nowhere, "gone"},
        {"/nowhere/1-1", Lead::Nowhere, "1-1"},   {at("opt/app/org.other/1-1"), Lead::Elsewhere, ""},
        {"1-1/deeper", Lead::Elsewhere, ""},      {".", Lead::Elsewhere, ""},
        {"1-1/deeper/file", Lead::Elsewhere, ""}, {"current", Lead::Elsewhere, ""},
    };
    for (const auto &[target, lead, version] : rows) {
        fs::create_symlink(target, stored("current"));
        const StoreEntry::Slot slot = entry.slot(PackageSlot::Current);
        EXPECT_EQ(std::tie(target, slot.lead, slot.version), std::tie(target, lead, version));
        fs::remove(stored("current"));
    }
    fs::create_directories(stored("current"));
    EXPECT_EQ(entry.slot(PackageSlot::Current).lead, Lead::NoLink);
}

TEST_F(StoreEntryTest, WhatNoDescriptorLinkOrNoteNamesIsForeign) {
    describe("1-1");
    for (const char *name : {"named", "noted", "other", ".remove"})
        fs::create_directories(stored(name));
    writeFile(stored("file"), "");
    fs::create_symlink("named", stored("prev"));
    fs::create_symlink("1-1", stored("link"));
    fs::copy(stored("1-1/velura.pkg"), stored("other"));
    const auto content = entry.content({"noted", "file"});
    EXPECT_THAT(content.own, ElementsAre("1-1", "named", "noted"));
    EXPECT_THAT(content.foreign, ElementsAre("file", "link", "other"));
    for (const char *version : {"1-1", "3-1", "named"})
        EXPECT_EQ(entry.objectionTo(version), "");
    EXPECT_EQ(entry.objectionTo("other"), stored("other").string() + " is somebody else's");
    fs::create_symlink("other", stored("next"));
    EXPECT_EQ(entry.objection(), stored("next").string() + " does not lead to a version of the package");
}

TEST_F(StoreEntryTest, TheStoreTouchesNothingOfSomebodyElse) {
    install("1-1", {{"bin/tool", "x"}});
    const char *const others[] = {"opt/app/org.app/mine/file", "opt/app/site/r1/index", "srv/photos/a"};
    for (const char *name : others)
        writeFile(at(name), "");
    fs::create_symlink(at("srv/photos"), at("opt/app/photos"));
    fs::create_symlink("r1", at("opt/app/site/current"));
    fs::create_symlink("gone", at("opt/app/gone"));
    fs::copy(stored(""), at("opt/app/old"), fs::copy_options::recursive | fs::copy_options::copy_symlinks);
    EXPECT_EQ(database.packages().size(), 1u);
    for (const char *other : {"old", "photos", "../../srv/photos"})
        EXPECT_THROW(database.remove(other), Common::Error) << other;
    EXPECT_EQ(readFile(at("usr/bin/tool")), "x");
    database.remove(id);
    EXPECT_THAT(slots(), ElementsAre("mine"));
    for (const char *name : others)
        EXPECT_TRUE(fs::exists(at(name))) << name;
    EXPECT_TRUE(fs::exists(at("opt/app/old/1-1/velura.pkg")));
}

} // namespace
