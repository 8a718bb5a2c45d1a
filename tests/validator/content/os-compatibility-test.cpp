#include "kelp/core/kelp/validator/data/os-compatibility.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

using namespace Validator;

namespace {

TEST(OsCompatibility, ParsesDottedNumbers) {
    EXPECT_EQ(parseVersion("4.0.2"), (Version{4, 0, 2}));
    EXPECT_EQ(parseVersion("2147483647.007"), (Version{2147483647, 7}));
    for (const char *text :
         {"", ".", ".1", "1.", "1..2", "-1", "+1", "4.x", "4 .0", "0x1", "2147483648", "\"4.0\""})
        EXPECT_EQ(parseVersion(text), Version()) << text;
    EXPECT_EQ(parseVersion(std::string(1 << 20, '9')), Version());
}

TEST(OsCompatibility, AcceptsEachReleaseLineFromItsFirstVersion) {
    const std::vector<std::string_view> lines = {"5.0.1", "4.0.2.5"};
    const struct {
        std::string_view system;
        std::vector<std::string_view> versions;
        bool compatible;
    } cases[] = {
        {"4.0.0", {"4.0"}, true},
        {"4.0", {"4.0.0"}, false},
        {"3.9", {"4.0"}, false},
        {"\"5.0\"", {"4.0"}, false},
        {"", {"4.0"}, false},
        {"5.0.0", lines, false},
        {"4.0.2.6.1", lines, true},
        {"4.0.2.4", lines, false},
        {"7.2147483647.3", {"9.0", "7.2147483647.2"}, true},
        {"7.2147483647.1", {"9.0", "7.2147483647.2"}, false},
        {"3.5", {"5", "4"}, false},
        {"5", {"5", "4"}, true},
    };
    for (const auto &c : cases)
        EXPECT_EQ(isCompatible(c.system, c.versions), c.compatible) << c.system;
    EXPECT_THROW(isCompatible("4.5", {"5", "4"}), std::out_of_range) << "one component names no release line";
}

} // namespace
