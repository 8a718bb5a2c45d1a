#include "platform/package-signatures/cms.h"
#include "platform/package-signatures/database.h"

#include "support/temporary-directory.h"

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

TEST_F(SignatureDatabaseTest, ListsEachPackageOnceInByteOrder) {
    make(schema);
    make("INSERT INTO certificates VALUES ('b', 1, 'k', 's', 1, 0), ('\u00e4', 1, 'k', 's', 1, 0),"
         "('a', 3, 'k', 's', 1, 0), ('B', 1, 'k', 's', 1, 0), ('a', 1, 'k', 's', 1, 0)");
    EXPECT_THAT(Database(path).packages(), ElementsAre("B", "a", "b", "\u00e4"));
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
