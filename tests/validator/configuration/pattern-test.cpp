#include "kelp/core/kelp/validator/configuration/pattern-set.h"
#include "kelp/core/kelp/validator/configuration/profile-rows.h"
#include "kelp/core/kelp/validator/configuration/regular-libraries.h"
#include "kelp/core/kelp/validator/configuration/regular-requires.h"

#include <gmock/gmock.h>

#include <regex>

using namespace Configuration;

namespace {

const Rows expressionTables[] = {
    BaseRows::reservedQmlImportsExpressions,     RegularRows::allowedPathsExpressions,
    RegularRows::allowedLibrariesExpressions,    RegularRows::unstableLibrariesExpressions,
    RegularRows::deprecatedLibrariesExpressions, RegularRows::allowedRequiresExpressions,
    ExtendedRows::allowedPathsExpressions,       ExtendedRows::deprecatedLibrariesExpressions,
    AuthRows::allowedLibrariesExpressions,       MarketRows::allowedPathsExpressions,
};

/// The plain text of an expression: what it matches when its optional groups take no part.
std::string literalOf(std::string_view expression) {
    const std::string text(expression.substr(0, expression.find("(?:")));
    return std::regex_replace(std::regex_replace(text, std::regex(R"(\(\|64\)|[\\^$])"), ""),
                              std::regex("\\.[*+]"), "x");
}

/// Texts that the expression takes, and others that differ by little.
std::vector<std::string> subjectsFor(std::string_view expression) {
    const std::string literal = literalOf(expression);
    std::vector<std::string> subjects = {"", "\n", 'x' + literal, literal + literal,
                                         literal + std::string("(\0)", 3)};
    for (std::size_t at = 0; at < literal.size(); ++at)
        for (const char other : {'\n', '\r', '.', '\xe4'})
            subjects.push_back(std::string(literal).replace(at, 1, 1, other));
    for (const char *tail : {"", "\n", "\r\n", ")", "(", "((x))", "(x)y", "(x)\n", "()", "(Qt_5)",
                             "Qt_5_PRIVATE_API", "(Qt_5_PRIVATE_API)", "(GLIBC_2.4)", "(GLIBC_PRIVATE)",
                             "(GLIBC_PRIVATE_2)", "(OPENSSL_1_1_0)", "(LIBUDEV_183)", "(libssl.so.1.1)"})
        subjects.push_back(literal + tail);
    return subjects;
}

TEST(Pattern, AgreesWithTheStandardLibraryOnEveryExpressionOfTheProfiles) {
    std::size_t expressions = 0;
    for (const Rows rows : expressionTables) {
        for (const std::string_view row : rows) {
            const Pattern pattern(row);
            const std::regex reference{std::string(row)};
            std::size_t matches = 0;
            const std::vector<std::string> subjects = subjectsFor(row);
            for (const std::string &subject : subjects) {
                const bool expected = std::regex_match(subject, reference);
                EXPECT_EQ(pattern.matches(subject), expected) << row << " on " << subject;
                matches += expected;
            }
            EXPECT_THAT(matches, testing::AllOf(testing::Gt(0U), testing::Lt(subjects.size()))) << row;
            ++expressions;
        }
    }
    EXPECT_EQ(expressions, 62U + 10U);
}

TEST(Pattern, AgreesWithTheStandardLibraryOnTheGrammar) {
    const std::string subjects[] = {"",   "a",  "b",   "ab",    "aab", "aba", "u0041", "A",  "$",
                                    "\n", "\r", "a\n", "a\r\n", "[]",  "a]",  "\xff",  "aa", "\\"};
    for (const char *expression : {"a*", "(a|ab)(b|)", "(a)?b", "(?:(a)|b)\\1", "[^]", "[]", "[^a]+", "a$",
                                   "\\u0041", "\\x41", "\\$", "(a(?=b))b", "(?!a).", ".", "[\\s\\S]*"}) {
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
