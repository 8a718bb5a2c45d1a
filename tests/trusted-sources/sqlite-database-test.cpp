#include "database-fixture.h"

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

struct Operation {
    void (*call)(IDatabase &);
    const char *failure;
    const char *neededRow = nullptr; ///< The statement that must give a row, where there may be none.
};

const Operation operations[] = {
    {[](IDatabase &d) { d.missingSourceAllowed(); },
     "Couldn't query no source allowed status from the trusted sources database",
     "SELECT data FROM configuration WHERE id = 'missing_source_allowed'"},
    {[](IDatabase &d) { d.webPwaSourceAllowed(); },
     "Couldn't query pwa source allowed status from the trusted sources database",
     "SELECT data FROM configuration WHERE id = 'web_pwa_source_allowed'"},
    {[](IDatabase &d) { d.setMissingSourceAllowed(true); },
     "Couldn't update no source allowed status in the trusted sources database"},
    {[](IDatabase &d) { d.setWebPwaSourceAllowed(true); },
     "Couldn't update pwa source allowed status in the trusted sources database"},
    {[](IDatabase &d) {
         d.addSource({"k", "s", {}});
     },
     "Couldn't insert source into the trusted sources database"},
    {[](IDatabase &d) { d.removeSource("k"); },
     "Couldn't remove source from trusted sources database by key id"},
    {[](IDatabase &d) { d.sourceExists("k"); },
     "Couldn't check package exists in the trusted sources database"},
    {[](IDatabase &d) { d.source("k"); }, "Couldn't query source from trusted sources database by key id",
     "SELECT subject FROM sources WHERE keyid = ?"},
    {[](IDatabase &d) { d.sourceOfPackage("p"); },
     "Couldn't query source from trusted sources database by package id",
     "SELECT source_keyid FROM packages WHERE id = ?"},
    {[](IDatabase &d) { d.addPackage("p", "k"); },
     "Couldn't insert package into the trusted sources database"},
    {[](IDatabase &d) { d.removePackage("p"); }, "Couldn't remove package from the trusted sources database"},
    {[](IDatabase &d) { d.packageExists("p"); },
     "Couldn't check package exists in the trusted sources database"},
    {[](IDatabase &d) { d.sources(); }, "Couldn't query source list from the trusted sources database"},
};

TEST_F(SQLiteDatabaseTest, EachFailureHasItsTextAndLogsTheReason) {
    execute("DROP TABLE packages; DROP TABLE sources; DROP TABLE configuration");
    out.take();
    for (const Operation &operation : operations) {
        EXPECT_THAT([&] { operation.call(database); }, failsWith(operation.failure));
        EXPECT_THAT(out.take(), testing::StartsWith("[E] no such table: ")) << operation.failure;
    }
}

TEST_F(SQLiteDatabaseTest, EachOperationNeedsAnOpenDatabase) {
    std::filesystem::remove(file);
    std::filesystem::create_directory(file);
    SQLiteDatabase closed = open();
    out.take();
    for (const Operation &operation : operations)
        EXPECT_THAT([&] { operation.call(closed); }, failsWith("Trusted sources database not initialized"))
            << operation.failure;
    EXPECT_EQ(out.take(), "");
}

TEST_F(SQLiteDatabaseTest, SwitchesAreOnForOneAlone) {
    struct Switch {
        const char *id;
        bool (IDatabase::*get)();
        void (IDatabase::*set)(bool);
    };
    const Switch switches[] = {
        {"missing_source_allowed", &IDatabase::missingSourceAllowed, &IDatabase::setMissingSourceAllowed},
        {"web_pwa_source_allowed", &IDatabase::webPwaSourceAllowed, &IDatabase::setWebPwaSourceAllowed},
    };
    for (const Switch &each : switches) {
        EXPECT_FALSE((database.*each.get)());
        (database.*each.set)(true);
        EXPECT_TRUE((database.*each.get)());
        EXPECT_THAT(configurationRows(), testing::HasSubstr(std::string(each.id) + "=1 "));
        for (const char *value : {"2", "-1", "4294967297"}) {
            execute(
                (std::string("UPDATE configuration SET data = ") + value + " WHERE id = '" + each.id + "'")
                    .c_str());
            EXPECT_FALSE((database.*each.get)()) << value;
        }
    }
}

TEST_F(SQLiteDatabaseTest, SourceKeepsItsFirstSubject) {
    database.addSource({"ab01", "Shop", {"ignored"}});
    database.addSource({"ab01", "Thief", {}});
    EXPECT_EQ(database.source("ab01").subject, "Shop");
    EXPECT_THAT(database.source("ab01").packages, IsEmpty());
    EXPECT_TRUE(database.sourceExists("ab01"));
    EXPECT_FALSE(database.sourceExists("AB01"));
}

TEST_F(SQLiteDatabaseTest, PackageBelongsToOneKnownSource) {
    database.addSource({"ab01", "Shop", {}});
    database.addSource({"cd02", "Market", {}});
    database.addPackage("org.example.notes", "ab01");
    EXPECT_EQ(database.sourceOfPackage("org.example.notes").keyId, "ab01");
    out.take();

    const std::pair<std::pair<const char *, const char *>, const char *> refused[] = {
        {{"org.example.other", "ef03"}, "[E] FOREIGN KEY constraint failed\n"},
        {{"org.example.notes", "cd02"}, "[E] UNIQUE constraint failed: packages.id\n"},
    };
    for (const auto &[package, reason] : refused) {
        EXPECT_THAT([&] { database.addPackage(package.first, package.second); },
                    failsWith("Couldn't insert package into the trusted sources database"));
        EXPECT_EQ(out.take(), reason);
    }
    EXPECT_FALSE(database.packageExists("org.example.other"));

    database.removePackage("org.example.notes");
    EXPECT_FALSE(database.packageExists("org.example.notes"));
    EXPECT_TRUE(database.sourceExists("ab01"));
}

TEST_F(SQLiteDatabaseTest, RemovedSourceTakesItsPackagesAlongOrNothing) {
    database.addSource({"ab01", "Shop", {}});
    database.addSource({"cd02", "Market", {}});
    database.addPackage("org.example.notes", "ab01");
    database.addPackage("org.example.reader", "cd02");

    execute("CREATE TRIGGER keep BEFORE DELETE ON sources BEGIN SELECT RAISE(ABORT, 'kept'); END");
    out.take();
    EXPECT_THAT([&] { database.removeSource("ab01"); },
                failsWith("Couldn't remove source from trusted sources database by key id"));
    EXPECT_EQ(out.take(), "[E] kept\n");
    EXPECT_TRUE(database.packageExists("org.example.notes"));

    execute("DROP TRIGGER keep");
    database.removeSource("ab01");
    EXPECT_EQ(rows("SELECT keyid FROM sources"), "cd02 ");
    EXPECT_EQ(rows("SELECT id FROM packages"), "org.example.reader ");
}

TEST_F(SQLiteDatabaseTest, ListsSourcesByDescendingSubject) {
    database.addSource({"1a", "Bazaar", {}});
    database.addSource({"2b", "shop", {}});
    database.addSource({"3c", "Market", {}});
    database.addSource({".no.source.apps", "", {}});
    database.addPackage("org.example.notes", "3c");
    database.addPackage("org.example.reader", "3c");
    database.addPackage("org.example.ticker", ".no.source.apps");

    std::vector<std::string> keyIds;
    for (const Source &source : database.sources())
        keyIds.push_back(source.keyId);
    EXPECT_THAT(keyIds, ElementsAre("2b", "3c", "1a", ".no.source.apps"));
    const Source market = database.sources().at(1);
    EXPECT_EQ(market.subject, "Market");
    EXPECT_THAT(market.packages, UnorderedElementsAre("org.example.notes", "org.example.reader"));
}

TEST_F(SQLiteDatabaseTest, MissingRowIsAFailureThatNamesTheStatement) {
    execute("DELETE FROM configuration");
    for (const Operation &operation : operations) {
        if (!operation.neededRow)
            continue;
        out.take();
        EXPECT_THAT([&] { operation.call(database); }, failsWith(operation.failure));
        EXPECT_EQ(out.take(), std::string("[E] SQL query failed: ") + operation.neededRow + "\n");
    }
}

TEST_F(SQLiteDatabaseTest, FailureWithinAFailureLogsBoth) {
    database.addSource({"ab01", "Shop", {}});
    execute("DROP TABLE packages");
    out.take();
    EXPECT_THAT([&] { database.sources(); },
                failsWith("Couldn't query source list from the trusted sources database"));
    EXPECT_EQ(out.take(), "[E] no such table: packages\n"
                          "[E] Couldn't query source packages from the trusted sources database\n"
                          "[E] Couldn't query source from trusted sources database by key id\n");
}

} // namespace
