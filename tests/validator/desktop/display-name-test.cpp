#include "kelp/core/kelp/validator/desktop/desktop-checks.h"

#include <gtest/gtest.h>

#include <string>

using namespace Validator;

namespace {

TEST(DisplayName, IsVisibleText) {
    for (const std::string name : {"a", " a ", "\xc2\xa0x", "\xd0\x9a\xd0\xb0\xd1\x80\xd1\x82\xd0\xb0", "1",
                                   "\xf0\x9f\x98\x80", "e\xcc\x81", "\xef\xbf\xbd"})
        EXPECT_TRUE(isDisplayName(name)) << name;
}

TEST(DisplayName, HoldsNothingElse) {
    const std::string names[] = {
        "",
        " \xc2\xa0",
        std::string("a\0b", 3),
        "a\x7f",
        "a\n",
        "a\xe2\x80\x83",     // EM SPACE
        "a\xe2\x80\xa8",     // LINE SEPARATOR
        "a\xe2\x80\xa9",     // PARAGRAPH SEPARATOR
        "a\xe2\x80\xae",     // RIGHT-TO-LEFT OVERRIDE
        "a\xee\x80\x80",     // private use
        "a\xef\xbf\xbf",     // not assigned
        "a\xc1\xa1",         // overlong
        "a\xed\xa0\x80",     // surrogate
        "a\xf4\x90\x80\x80", // beyond Unicode
        "a\xe9",             // Latin-1
        "a\xe2\x82",         // cut off
    };
    for (const std::string &name : names)
        EXPECT_FALSE(isDisplayName(name)) << testing::PrintToString(name);
}

} // namespace
