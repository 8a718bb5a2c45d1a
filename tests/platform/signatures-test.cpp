#include "platform/package-signatures/cms.h"
#include "platform/package-signatures/database.h"

#include "support/temporary-directory.h"
#include "support/text-file.h"

#include <SQLiteCpp/Database.h>
#include <gmock/gmock.h>

namespace {

using namespace PackageSignatures;
using testing::ElementsAre;
namespace fs = std::filesystem;

class SignatureDatabaseTest : public testing::Test {
protected:
    void make(const char *sql) {
        fs::create_directories(fs::path(path).parent_path());
        SQLite::Database(path, SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE).exec(sql);
    }

    TemporaryRoot root;
    const std::string path = Database::defaultPath();
};

constexpr const char *schema =
    "CREATE TABLE certificates(package TEXT NOT NULL, cert_group INTEGER NOT NULL, key_id TEXT NOT NULL,"
    "subject TEXT NOT NULL, subgroup INTEGER NOT NULL, system_developer INTEGER NOT NULL DEFAULT 0,"
    "PRIMARY KEY(package, cert_group));";

TEST_F(SignatureDatabaseTest, StandsBelowTheRoot) {
    EXPECT_EQ(path, root.path() / "var/lib/package-signatures/signatures.sqlite3");
}

TEST_F(SignatureDatabaseTest, ListsEachPackageOnceInByteOrder) {
    make(schema);
    make("INSERT INTO certificates VALUES ('b', 1, 'k', 's', 1, 0), ('\u00e4', 1, 'k', 's', 1, 0),"
         "('a', 3, 'k', 's', 1, 0), ('B', 1, 'k', 's', 1, 0), ('a', 1, 'k', 's', 1, 0)");
    EXPECT_THAT(Database(path).packages(), ElementsAre("B", "a", "b", "\u00e4"));
}

TEST_F(SignatureDatabaseTest, FindsTheCertificateOfAGroup) {
    make(schema);
    make("INSERT INTO certificates VALUES ('p', 1, 'ab01', 'Maker', 7, 1), ('p', 3, 'cd02', 'Shop', 99, 0),"
         "('q', 3, 'cd02', 'Shop', 6, 0)");
    const Database database(path);
    const auto developer = database.packageCertificateWithGroup("p", Group::Developer);
    ASSERT_TRUE(developer);
    EXPECT_EQ(developer->keyId(), "ab01");
    EXPECT_EQ(developer->subject(), "Maker");
    EXPECT_EQ(developer->subgroup(), Subgroup::SystemApp);
    EXPECT_TRUE(developer->isSystemDeveloperCertificate());

    const auto client = database.packageCertificateWithGroup("p", Group::Client);
    ASSERT_TRUE(client);
    EXPECT_EQ(client->keyId(), "cd02");
    EXPECT_EQ(subgroupToString(client->subgroup()), "unknown");
    EXPECT_FALSE(client->isSystemDeveloperCertificate());

    EXPECT_FALSE(database.packageCertificateWithGroup("q", Group::Developer));
    EXPECT_FALSE(database.packageCertificateWithGroup("P", Group::Client));
}

TEST_F(SignatureDatabaseTest, ThrowsForWhatIsNoSuchDatabaseAndMakesNone) {
    EXPECT_THROW(Database{path}, std::exception);
    EXPECT_FALSE(fs::exists(path));

    make("CREATE TABLE certificates(package TEXT)");
    EXPECT_THROW(Database(path).packageCertificateWithGroup("p", Group::Client), std::exception);
    writeFile(path, std::string(4096, 'x'));
    EXPECT_THROW(Database(path).packages(), std::exception);
}

TEST(Subgroup, HasTheNamesThatPatternsUse) {
    const char *names[] = {"unknown", "regular", "antivirus", "extended", "mdm",
                           "auth",    "market",  "systemapp", "unknown"};
    for (int value = 0; value < 9; ++value)
        EXPECT_EQ(subgroupToString(static_cast<Subgroup>(value)), names[value]) << value;
    EXPECT_EQ(subgroupToString(static_cast<Subgroup>(-1)), "unknown");
}

Cms signedBy(Group group, const char *keyId) {
    return {group, Certificate(keyId, "subject", Subgroup::Regular, false), {{4, {1, 2}}}, {{5, {3}}}};
}

TEST(Cms, KeepsTheTwoKindsOfSignaturesApart) {
    const Cms cms = signedBy(Group::Developer, "k");
    EXPECT_THAT(cms.fileSignature(4), ElementsAre(1, 2));
    EXPECT_THAT(cms.trustletSignature(5), ElementsAre(3));
    EXPECT_TRUE(cms.fileSignature(5).empty());
    EXPECT_TRUE(cms.trustletSignature(4).empty());
}

TEST(Cms, FirstOfTheDeveloperGroupSpeaksForThePackage) {
    const std::vector<Cms> signatures = {signedBy(Group::Client, "c"), signedBy(Group::Developer, "d1"),
                                         signedBy(Group::Developer, "d2")};
    const auto developer = developerCmsFromVector(signatures);
    ASSERT_TRUE(developer);
    EXPECT_EQ(developer->certificate().keyId(), "d1");
    EXPECT_FALSE(developerCmsFromVector({signedBy(Group::Client, "c")}));
    EXPECT_FALSE(developerCmsFromVector({}));
}

} // namespace
