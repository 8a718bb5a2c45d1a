#include "kelp/core/kelp/package/integrity-resource.h"

#include "kelp/core/common/configuration.h"
#include "kelp/core/kelp/package/database-path-resolver.h"
#include "support/captured-output.h"
#include "support/error-matcher.h"
#include "support/temporary-directory.h"
#include "support/text-file.h"

#include <gtest/gtest.h>

namespace {

using namespace Core::KELP;
using Common::ErrorCode;

TEST(IntegrityResource, FollowsTheOrganisationsDirectory) {
    const TemporaryRoot root;
    CapturedOutput out;
    // The process-wide configuration is loaded here: no other test of this program may come to need it.
    ASSERT_EQ(Core::Configuration::instance().databaseDirectory(), root.path() / "opt/app");
    const auto source = root.path() / "etc/integrityd/config.d/p.json";
    const auto resource = root.path() / "opt/app/p/current/@resources/integrityd.json";
    const PackageInformation whole{{"general.id", "p"}, {"general.orgname", "acme"}, {"certificate.id", "K"}};

    migrateIntegrityFile(whole);
    EXPECT_FALSE(std::filesystem::exists(resource)) << "no old file";

    const std::pair<std::string, std::string> rows[] = {
        {R"({"watch": ["/usr/share/common/acme/x", "file:/usr/share/common/acme/y"]})",
         R"({"watch": ["/usr/share/common/acme/K/x", "file:/usr/share/common/acme/K/y"]})"},
        {"/usr/share/common/acme2/x and /usr/share/common/acme",
         "/usr/share/common/acme2/x and /usr/share/common/acme"},
    };
    for (const auto &[before, after] : rows) {
        writeFile(source, before);
        for (const char *key : {"general.id", "general.orgname", "certificate.id"}) {
            PackageInformation partial = whole;
            partial.erase(key);
            migrateIntegrityFile(partial);
            partial[key] = "";
            migrateIntegrityFile(partial);
            EXPECT_FALSE(std::filesystem::exists(resource)) << key;
        }
        migrateIntegrityFile(whole);
        EXPECT_EQ(readFile(resource), after);
        EXPECT_EQ(readFile(source), before);
        removeIntegrityResource(DatabasePathResolver(Core::Configuration::instance()), "p");
        EXPECT_FALSE(std::filesystem::exists(resource));
    }

    std::filesystem::create_directory(resource);
    EXPECT_THAT([&] { migrateIntegrityFile(whole); },
                raises(ErrorCode::Filesystem, "Failed to open resource integrityd file"));
    std::filesystem::remove(source);
    std::filesystem::create_directory(source);
    EXPECT_THAT([&] { migrateIntegrityFile(whole); },
                raises(ErrorCode::Filesystem, "Failed to read resource integrityd file"));
}

} // namespace
