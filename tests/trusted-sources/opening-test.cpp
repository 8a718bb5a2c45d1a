#include "database-fixture.h"
#include "support/text-file.h"

#include <functional>

namespace {

namespace fs = std::filesystem;

constexpr const char *uninitialised = "[E] Couldn't initialize trusted sources database\n";
constexpr const char *fromV0 = "[I] Successfully migrate trusted sources database from V0 to V1\n";
constexpr const char *fromV1 = "[I] Successfully migrate trusted sources database from V1 to V2\n";

class OpeningTest : public TrustedSourcesTest {
protected:
    /// Makes a file of the first version with these values.
    void makeFirstVersion(int version, int required) {
        execute("CREATE TABLE configuration(id TEXT PRIMARY KEY,data INTEGER NOT NULL);"
                "CREATE TABLE sources(keyid TEXT PRIMARY KEY,subject TEXT NOT NULL);"
                "CREATE TABLE packages(id TEXT PRIMARY KEY,source_keyid INTEGER NOT NULL,"
                "FOREIGN KEY(source_keyid) REFERENCES sources(keyid));"
                "INSERT INTO sources VALUES ('ab01', 'Shop');"
                "INSERT INTO packages VALUES ('org.example.notes', 'ab01')");
        const std::string values = "INSERT INTO configuration VALUES ('version', " + std::to_string(version) +
                                   "), ('required', " + std::to_string(required) + ")";
        execute(values.c_str());
    }
};

TEST_F(OpeningTest, MakesANewFileWithTheCurrentSchema) {
    auto database = open();
    EXPECT_EQ(out.take(), std::string(fromV0) + fromV1);
    EXPECT_EQ(configurationRows(), "missing_source_allowed=0 version=2 web_pwa_source_allowed=0 ");
    EXPECT_EQ(rows("SELECT sql FROM sqlite_master WHERE sql NOT NULL ORDER BY name"),
              "CREATE TABLE configuration(id TEXT PRIMARY KEY,data INTEGER NOT NULL) "
              "CREATE TABLE packages(id TEXT PRIMARY KEY,source_keyid INTEGER NOT NULL,"
              "FOREIGN KEY(source_keyid) REFERENCES sources(keyid)) "
              "CREATE TABLE sources(keyid TEXT PRIMARY KEY,subject TEXT NOT NULL) ");
    EXPECT_TRUE(database.sources().empty());
}

TEST_F(OpeningTest, TurnsTheOldSwitchRoundAndKeepsTheSources) {
    for (const int required : {0, 1}) {
        fs::remove(file);
        makeFirstVersion(1, required);
        auto database = open();
        EXPECT_EQ(out.take(), fromV1);
        EXPECT_EQ(configurationRows(), "missing_source_allowed=" + std::to_string(1 - required) +
                                           " version=2 web_pwa_source_allowed=0 ");
        EXPECT_EQ(database.sourceOfPackage("org.example.notes").subject, "Shop");
    }
}

TEST_F(OpeningTest, WritesNothingToAFileOfTheCurrentVersion) {
    open().addSource({"ab01", "Shop", {}});
    out.take();
    const std::string content = readFile(file);
    SQLite::Database writer = connect();
    // Whoever writes now fails.
    writer.exec("BEGIN IMMEDIATE");
    auto database = open();
    EXPECT_EQ(out.take(), "");
    EXPECT_TRUE(database.sourceExists("ab01"));
    EXPECT_EQ(readFile(file), content);

    EXPECT_THAT(
        [&] {
            database.addSource({"cd02", "Market", {}});
        },
        failsWith("Couldn't insert source into the trusted sources database"));
    EXPECT_EQ(out.take(), "[E] database is locked\n");
    writer.exec("ROLLBACK");
    database.addSource({"cd02", "Market", {}});
}

TEST_F(OpeningTest, StepThatFailsChangesNothingAndIsRepeated) {
    struct Row {
        std::function<void()> make;
        const char *remedy;
        const char *failure;
        std::string success;
    };
    const Row cases[] = {
        {[this] { execute("CREATE TABLE t(x); CREATE INDEX packages ON t(x)"); }, "DROP TABLE t",
         "[E] Couldn't migrate the trusted sources database from V0 to V1\n", std::string(fromV0) + fromV1},
        {[this] {
             makeFirstVersion(1, 0);
             execute("INSERT INTO configuration VALUES ('missing_source_allowed', 7)");
         },
         "DELETE FROM configuration WHERE id = 'missing_source_allowed'",
         "[E] Couldn't migrate the trusted sources database from V1 to V2\n", fromV1},
    };
    for (const Row &row : cases) {
        fs::remove(file);
        row.make();
        const std::string content = readFile(file);
        EXPECT_THAT([this] { open().sources(); }, failsWith("Trusted sources database not initialized"));
        EXPECT_THAT(out.take(), testing::EndsWith(std::string(uninitialised) + row.failure));
        EXPECT_EQ(readFile(file), content);

        execute(row.remedy);
        EXPECT_NO_THROW(open().missingSourceAllowed());
        EXPECT_EQ(out.take(), row.success);
    }
}

TEST_F(OpeningTest, LeavesVersionsThatItDoesNotKnowAlone) {
    const std::pair<const char *, const char *> cases[] = {
        {"-1", "[E] Unexpected trusted sources database version: -1\n"},
        {"3", ""},
        // Must not be cut down to 32 bits, where it would be 1.
        {"4294967297", ""},
        {"-4294967295", "[E] Unexpected trusted sources database version: -4294967295\n"},
    };
    makeFirstVersion(1, 1);
    for (const auto &[version, log] : cases) {
        execute(
            (std::string("UPDATE configuration SET data = ") + version + " WHERE id = 'version'").c_str());
        auto database = open();
        EXPECT_EQ(out.take(), log);
        EXPECT_EQ(configurationRows(), std::string("required=1 version=") + version + " ");
        EXPECT_TRUE(database.sourceExists("ab01"));
    }
}

TEST_F(OpeningTest, TellsWhyAFileCannotBeUsedAndRaisesNothing) {
    struct Row {
        const char *what;
        std::function<void()> make;
        const char *reason; ///< What stands before the line that tells of the failure.
        const char *failure;
    };
    const Row cases[] = {
        {"directory", [this] { fs::create_directory(file); }, "", "unable to open database file"},
        {"no parent", [this] { fs::remove(file.parent_path()); }, "", "unable to open database file"},
        {"garbage", [this] { writeFile(file, std::string(4096, 'x')); }, "[E] file is not a database\n",
         "Couldn't check if the configuration table exists in the trusted sources database"},
        {"no version", [this] { execute("CREATE TABLE configuration(id TEXT, data INTEGER)"); },
         "[E] SQL query failed: SELECT data FROM configuration WHERE id='version'\n",
         "Couldn't query trusted sources database version"},
    };
    for (const Row &row : cases) {
        fs::remove_all(file);
        row.make();
        EXPECT_THAT([this] { open().sources(); }, failsWith("Trusted sources database not initialized"));
        EXPECT_EQ(out.take(), std::string(row.reason) + uninitialised + "[E] " + row.failure + "\n")
            << row.what;
        fs::create_directories(file.parent_path());
    }
}

} // namespace
