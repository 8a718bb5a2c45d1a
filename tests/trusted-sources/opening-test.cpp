#include "database-fixture.h"
#include "support/text-file.h"

#include <sys/stat.h>

#include <functional>

namespace {

namespace fs = std::filesystem;

const std::string fromV0 = "[I] Successfully migrate trusted sources database from V0 to V1\n";
const std::string fromV1 = "[I] Successfully migrate trusted sources database from V1 to V2\n";

class OpeningTest : public TrustedSourcesTest {
protected:
    /// Makes a file of the first version but for these values.
    void makeFile(const std::string &values) {
        fs::remove(file);
        execute("CREATE TABLE configuration(id TEXT PRIMARY KEY,data INTEGER NOT NULL);"
                "CREATE TABLE sources(keyid TEXT PRIMARY KEY,subject TEXT NOT NULL);"
                "CREATE TABLE packages(id TEXT PRIMARY KEY,source_keyid INTEGER NOT NULL,"
                "FOREIGN KEY(source_keyid) REFERENCES sources(keyid));"
                "INSERT INTO sources VALUES ('ab01', 'Shop');"
                "INSERT INTO packages VALUES ('org.example.notes', 'ab01');"
                "INSERT INTO configuration VALUES " +
                values);
    }
};

TEST_F(OpeningTest, MakesANewFileForRootAloneAndKeepsThePermissionsOfAnOldOne) {
    const mode_t mask = ::umask(022);
    for (const mode_t mode : {0600u, 0640u}) {
        auto database = open();
        struct stat status = {};
        ASSERT_EQ(::stat(file.c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 0777, mode);
        EXPECT_TRUE(database.sources().empty());
        ::chmod(file.c_str(), 0640);
    }
    ::umask(mask);
    EXPECT_EQ(out.take(), fromV0 + fromV1);
    EXPECT_EQ(configurationRows(), "missing_source_allowed=0 version=2 web_pwa_source_allowed=0 ");
    EXPECT_EQ(rows("SELECT sql FROM sqlite_master WHERE sql NOT NULL ORDER BY name"),
              "CREATE TABLE configuration(id TEXT PRIMARY KEY,data INTEGER NOT NULL) "
              "CREATE TABLE packages(id TEXT PRIMARY KEY,source_keyid INTEGER NOT NULL,"
              "FOREIGN KEY(source_keyid) REFERENCES sources(keyid)) "
              "CREATE TABLE sources(keyid TEXT PRIMARY KEY,subject TEXT NOT NULL) ");
}

TEST_F(OpeningTest, BringsOldFilesUpAndWritesToNoOther) {
    const std::string odd = "[E] Unexpected trusted sources database version: ";
    const struct {
        const char *before;
        std::string log; ///< Without one, nothing was to be written.
        const char *after;
    } cases[] = {
        {"('version', 1), ('required', 0)", fromV1,
         "missing_source_allowed=1 version=2 web_pwa_source_allowed=0 "},
        // Cut between the two steps.
        {"('version', 2), ('required', 1)", fromV1,
         "missing_source_allowed=0 version=2 web_pwa_source_allowed=0 "},
        {"('version', 2), ('required', 1), ('missing_source_allowed', 1)", "",
         "missing_source_allowed=1 required=1 version=2 "},
        {"('version', 2)", "", "version=2 "},
        {"('version', 3), ('required', 1)", "", "required=1 version=3 "},
        // Must not be cut down to 32 bits, where they would be 1.
        {"('version', 4294967297)", "", "version=4294967297 "},
        {"('version', -4294967295)", odd + "-4294967295\n", "version=-4294967295 "},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.before);
        makeFile(row.before);
        SQLite::Database other = connect();
        if (row.log.empty())
            other.exec("BEGIN IMMEDIATE"); // Whoever writes now fails.
        auto database = open();
        EXPECT_EQ(out.take(), row.log);
        EXPECT_EQ(configurationRows(), row.after);
        EXPECT_EQ(database.sourceOfPackage("org.example.notes").subject, "Shop");
    }
}

TEST_F(OpeningTest, TellsWhyAFileCannotBeUsedAndLeavesItAsItWas) {
    const struct {
        const char *what;
        std::function<void()> make;
        const char *reason; ///< What the log has before the two lines that each failure has.
        const char *failure;
    } cases[] = {
        {"directory", [this] { fs::create_directory(file); }, "", "unable to open database file"},
        {"garbage", [this] { writeFile(file, std::string(4096, 'x')); }, "[E] file is not a database\n",
         "Couldn't check if the configuration table exists in the trusted sources database"},
        {"no version", [this] { makeFile("('required', 1)"); },
         "[E] SQL query failed: SELECT data FROM configuration WHERE id='version'\n",
         "Couldn't query trusted sources database version"},
        {"first step", [this] { execute("CREATE TABLE t(x); CREATE INDEX packages ON t(x)"); },
         "[E] there is already an index named packages\n",
         "Couldn't migrate the trusted sources database from V0 to V1"},
        {"second step",
         [this] { makeFile("('version', 1), ('required', 0), ('missing_source_allowed', 7)"); },
         "[E] UNIQUE constraint failed: configuration.id\n",
         "Couldn't migrate the trusted sources database from V1 to V2"},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.what);
        row.make();
        const std::string content = fs::is_regular_file(file) ? readFile(file) : "";
        EXPECT_THAT([this] { open().sources(); }, failsWith("Trusted sources database not initialized"));
        EXPECT_EQ(out.take(), std::string(row.reason) + "[E] Couldn't initialize trusted sources database\n" +
                                  "[E] " + row.failure + "\n");
        EXPECT_EQ(fs::is_regular_file(file) ? readFile(file) : "", content);
        fs::remove_all(file);
        fs::create_directories(file.parent_path());
    }
}

} // namespace
