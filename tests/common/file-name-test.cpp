#include "kelp/core/common/foreign-text.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(FileName, IsOneComponentOfPrintableCharacters) {
    for (const char *name : {"acme", "org.example", "...", ".hidden", "two words", "Köln", "アプリ", "[x]=;"})
        EXPECT_TRUE(Common::isFileName(name)) << name;
    EXPECT_TRUE(Common::isFileName(std::string(255, 'x')));

    const std::string refused[] = {
        "", ".", "..", "/", "a/", "../../x", "a/../b", std::string(256, 'x'),
        // Lines and ends of text in one reader or another.
        "a\nb", "a\rb", std::string("a\0b", 3), "a\tb", "\x7f", "a\u0085b", "a\u2028b", "a\u202eb",
        // No UTF-8: a byte alone, one too few, "/" in two bytes, half of a surrogate pair.
        "\xff", "a\xc3", "\xc0\xaf", "\xed\xa0\x80"};
    for (const std::string &name : refused)
        EXPECT_FALSE(Common::isFileName(name)) << testing::PrintToString(name);
}

} // namespace
