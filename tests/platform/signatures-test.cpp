#include "platform/package-signatures/cms.h"

#include <gmock/gmock.h>

namespace {

using namespace PackageSignatures;

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
