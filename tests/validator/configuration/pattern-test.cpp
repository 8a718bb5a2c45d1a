#include "kelp/core/kelp/validator/configuration/pattern-set.h"

#include <gmock/gmock.h>

#include <regex>

using namespace Configuration;

namespace {

TEST(Pattern, AgreesWithTheStandardLibraryOnTheGrammar) {
    const std::string subjects[] = {
        "",          "a",    "b",      "ab",    "aab",       "aba",     "u0041",   "A",
        "$",         "\n",   "\r",     "a\n",   "a\r\n",     "[]",      "a]",      "\xff",
        "aa",        "\\",   "l.s",    "lxs",   "l.s()",     "l.s(P)",  "l.s(x)",  "l.s(x)\n",
        "l.s((\r))", "/u/x", "/u64/x", "/u6/x", "/u/\xe4\n", "/t/.pem", "/t/a.pem"};
    // The last are of the forms that the lists of the profiles have.
    for (const char *expression :
         {"a*", "(a|ab)(b|)", "(a)?b", "(?:(a)|b)\\1", "[^]", "[]", "[^a]+", "a$", "\\u0041", "\\x41", "\\$",
          "(a(?=b))b", "(?!a).", ".", "[\\s\\S]*", "^\\/u(|64)\\/.*$", "^l\\.s(?:\\((?!P).*\\))?$",
          "^l.s(?:\\(.*\\))?$", "^\\/t\\/.+\\.pem$"}) {
        const Pattern pattern(expression);
        for (const std::string &subject : subjects)
            EXPECT_EQ(pattern.matches(subject), std::regex_match(subject, std::regex(expression)))
                << expression << " on " << subject;
    }
}

TEST(Pattern, HandsOutTheGroupsOfAWholeMatch) {
    using testing::ElementsAre;
    using testing::Optional;
    const Pattern pattern("(a+)(b)?(c*)(\\.)");
    EXPECT_THAT(pattern.captures("aac."), Optional(ElementsAre("aa", "", "c", ".")));
    EXPECT_THAT(pattern.captures("ab."), Optional(ElementsAre("a", "b", "", ".")));
    EXPECT_EQ(pattern.captures("aac.d"), std::nullopt);
    EXPECT_THAT(Pattern("").captures({}), Optional(testing::IsEmpty()));
}

TEST(Pattern, StaysBoundedOnHostileText) {
    const std::string many(std::size_t(1) << 18, 'a');
    const std::string parentheses(std::size_t(1) << 20, '(');
    EXPECT_TRUE(Pattern("^\\/usr\\/bin\\/.*$").matches("/usr/bin/" + many));
    EXPECT_FALSE(Pattern("^\\/usr\\/bin\\/.*$").matches("/usr/bin/" + many + '\n'));
    EXPECT_FALSE(Pattern("^libz\\.so\\.1(?:\\(.*\\))?$").matches("libz.so.1" + parentheses));

    // Without limits these would not end in the life of this program.
    EXPECT_FALSE(Pattern("(a|aa|a)+[bc]").matches(many)) << "needs exponential time";
    EXPECT_FALSE(Pattern("((((a*)*)*)*)*[bc]").matches(many));
}

TEST(PatternSet, FoldsStringsAndKeepsExpressions) {
    PatternSet set;
    for (int i = 0; i < 2; ++i) {
        set.add(std::string("lib.so"));
        set.add(Pattern("lib.so"));
    }
    EXPECT_EQ(set.size(), 3U);
    EXPECT_TRUE(set.contains("lib.so"));
    EXPECT_TRUE(set.contains("lib-so"));
    EXPECT_FALSE(set.contains("lib.so "));
}

} // namespace
