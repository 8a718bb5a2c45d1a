#include "database-fixture.h"

#include <tuple>

namespace {

using namespace Core::TrustedSources;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

class SQLiteDatabaseTest : public TrustedSourcesTest {
protected:
    SQLiteDatabaseTest() { out.take(); }

    SQLiteDatabase database = open();
};

TEST_F(SQLiteDatabaseTest, AFailureHasItsTextAndLogsTheReason) {
    execute("DROP TABLE packages; DROP TABLE sources");
    EXPECT_THAT([&] { database.source("k"); },
                failsWith("Couldn't query source from trusted sources database by key id"));
    EXPECT_THAT(out.take(), testing::StartsWith("[E] no such table: "));
    // The text is that of packageExists, for sources too.
    EXPECT_THAT([&] { database.sourceExists("k"); },
                failsWith("Couldn't check package exists in the trusted sources database"));
}

TEST_F(SQLiteDatabaseTest, SwitchesAreApartAndOnForOneAlone) {
    database.setMissingSourceAllowed(true);
    EXPECT_EQ(configurationRows(), "missing_source_allowed=1 version=2 web_pwa_source_allowed=0 ");
    database.setWebPwaSourceAllowed(true);
    database.setMissingSourceAllowed(false);
    EXPECT_EQ(configurationRows(), "missing_source_allowed=0 version=2 web_pwa_source_allowed=1 ");
    EXPECT_TRUE(database.webPwaSourceAllowed());
    for (const char *value : {"0", "2", "-1", "4294967297"}) {
        execute(std::string("UPDATE configuration SET data = ") + value);
        EXPECT_FALSE(database.missingSourceAllowed()) << value;
        EXPECT_FALSE(database.webPwaSourceAllowed()) << value;
    }
}

TEST_F(SQLiteDatabaseTest, PackageBelongsToOneKnownSource) {
    database.addSource({"ab01", "Shop", {"ignored"}});
    database.addSource({"ab01", "Thief", {}});
    database.addSource({"cd02", "Market", {}});
    EXPECT_EQ(database.source("ab01").subject, "Shop");
    EXPECT_THAT(database.source("ab01").packages, IsEmpty());
    EXPECT_FALSE(database.sourceExists("AB01"));
    database.addPackage("org.example.notes", "ab01");
    EXPECT_EQ(database.sourceOfPackage("org.example.notes").keyId, "ab01");

    const std::tuple<const char *, const char *, const char *> refused[] = {
        {"org.example.other", "ef03", "[E] FOREIGN KEY constraint failed\n"},
        {"org.example.notes", "cd02", "[E] UNIQUE constraint failed: packages.id\n"},
    };
    for (const auto &[package, source, reason] : refused) {
        EXPECT_THAT([&] { database.addPackage(package, source); },
                    failsWith("Couldn't insert package into the trusted sources database"));
        EXPECT_EQ(out.take(), reason);
    }
    EXPECT_FALSE(database.packageExists("org.example.other"));
    EXPECT_THROW(database.sourceOfPackage("org.example.other"), Common::Error);
    EXPECT_THAT(out.take(), testing::StartsWith("[E] SQL query failed: SELECT source_keyid FROM packages "
                                                "WHERE id = ?\n"));
    database.removePackage("org.example.notes");
    EXPECT_FALSE(database.packageExists("org.example.notes"));
    EXPECT_TRUE(database.sourceExists("ab01"));
    // Who makes the reserved source allows it; who finds it has nothing to decide.
    database.bindPackage("org.example.notes", {"ef03", "", {}});
    EXPECT_FALSE(database.missingSourceAllowed());
    for (const bool isNew : {true, false}) {
        database.bindPackage("org.example.notes", {reservedSource, "", {}});
        EXPECT_EQ(database.missingSourceAllowed(), isNew);
        database.setMissingSourceAllowed(false);
    }
}

TEST_F(SQLiteDatabaseTest, RemovedSourceTakesItsPackagesAlongOrNothing) {
    database.addSource({"ab01", "Shop", {}});
    database.addSource({"cd02", "Market", {}});
    database.addPackage("org.example.notes", "ab01");
    database.addPackage("org.example.reader", "cd02");

    execute("CREATE TRIGGER keep BEFORE DELETE ON sources BEGIN SELECT RAISE(ABORT, 'kept'); END");
    EXPECT_THAT([&] { database.removeSource("ab01"); },
                failsWith("Couldn't remove source from trusted sources database by key id"));
    EXPECT_EQ(out.take(), "[E] kept\n");
    EXPECT_TRUE(database.packageExists("org.example.notes"));

    execute("DROP TRIGGER keep");
    database.removeSource("ab01");
    EXPECT_EQ(rows("SELECT keyid FROM sources"), "cd02 ");
    EXPECT_EQ(rows("SELECT id FROM packages"), "org.example.reader ");
}

TEST_F(SQLiteDatabaseTest, ListsSourcesByDescendingSubjectWithTheirPackages) {
    for (const auto &[keyId, subject] :
         {std::pair("1a", "Bazaar"), {"2b", "shop"}, {"3c", "Market"}, {"4d", ""}})
        database.addSource({keyId, subject, {}});
    for (const auto &[id, keyId] : {std::pair("notes", "3c"), {"reader", "3c"}, {"ticker", "4d"}})
        database.addPackage(id, keyId);
    std::vector<std::string> lines;
    for (const Source &source : database.sources())
        lines.push_back(source.keyId + " " + source.subject + " " + std::to_string(source.packages.size()));
    EXPECT_THAT(lines, ElementsAre("2b shop 0", "3c Market 2", "1a Bazaar 0", "4d  1"));
    EXPECT_THAT(database.sources().at(1).packages, UnorderedElementsAre("notes", "reader"));
}

} // namespace
