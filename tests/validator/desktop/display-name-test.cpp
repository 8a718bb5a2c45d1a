#include "kelp/core/kelp/validator/desktop/desktop-default.h"

#include <gtest/gtest.h>

#include <string>

using namespace Validator;

namespace {

TEST(DisplayName, IsVisibleTextAndNothingElse) {
    for (const std::string name : {"a", " a ", "\xc2\xa0x", "\xd0\x9a\xd0\xb0\xd1\x80\xd1\x82\xd0\xb0", "1",
                                   "\xf0\x9f\x98\x80", "e\xcc\x81", "\xef\xbf\xbd"})
        EXPECT_TRUE(isDisplayName(name)) << name;
    const std::string names[] = {
        "", " \u00a0", std::string("a\0b", 3), "a\x7f", "a\n", "a\u2003", "a\u2028", "a\u2029", "a\u202e",
        // Private use, not assigned; an overlong form, a surrogate, beyond Unicode, Latin-1, cut off.
        "a\ue000", "a\uffff", "a\xc1\xa1", "a\xed\xa0\x80", "a\xf4\x90\x80\x80", "a\xe9", "a\xe2\x82"};
    for (const std::string &name : names)
        EXPECT_FALSE(isDisplayName(name)) << testing::PrintToString(name);
}

} // namespace
