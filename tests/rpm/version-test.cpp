#include "kelp/core/common/rpm/version.h"

#include <gtest/gtest.h>

namespace {

using Common::Rpm::Version;

TEST(Version, ComparesAsRpmDoes) {
    const struct {
        const char *older;
        const char *newer;
    } pairs[] = {{"1.9", "1.10"},    {"1.0~rc1", "1.0"},   {"1.0", "1.0^git1"},
                 {"1.0-1", "1.0-2"}, {"9.0-9", "1:0.1-1"}, {"1.a", "1.1"},
                 {"1.0", "1.0.0"},   {"0:1-1", "2-1"},     {"1.0", "1.0-1"}};
    for (const auto &[older, newer] : pairs) {
        const auto a = Version::parse(older);
        const auto b = Version::parse(newer);
        ASSERT_TRUE(a && b) << older << ' ' << newer;
        EXPECT_EQ(a->compare(*b), -1) << older << ' ' << newer;
        EXPECT_EQ(b->compare(*a), 1) << older << ' ' << newer;
    }
    EXPECT_EQ(Version::parse("1.0-1")->compare(*Version::parse("0:1.0-1")), 0);
    EXPECT_FALSE(Version::parse(""));
}

} // namespace
