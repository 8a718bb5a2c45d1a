#include "kelp/core/kelp/validator/qml/qml-scanner.h"

#include "support/text-file.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace Validator;

namespace {

using Imports = std::vector<std::string>;

template<class Scan>
Imports collect(Scan scan, std::string_view text) {
    Imports imports;
    const auto keep = [&](const QmlImport &import) {
        imports.push_back(std::string(import.module) + '|' + std::string(import.version));
    };
    scan(text, keep, Passage());
    return imports;
}

struct Case {
    std::string text;
    Imports imports;
};

TEST(QmlScanner, FindsTheStatementsAtTheTop) {
    const Case cases[] = {
        {"import QtQuick 2.6;import Halyard.Vitrine 1.0\n", {"QtQuick|2.6", "Halyard.Vitrine|1.0"}},
        {"import QtQuick 2.6 as Q;import B 1.0", {"QtQuick|2.6"}},
        {"import Foo import Bar 1", {"Foo|", "Bar|1"}},
        {" \t;; import\tA\v1.0", {"A|1.0"}},
        {"import \"a\" 1.0;import \"b", {"\"a\"|1.0", "\"b|"}},
        {"import \"\" ;import X 1", {"\"\"|", "X|1"}},
        {"import \"", {}},
        {"import1 2.0", {"1|2.0"}},
        {"import\"a.js\" as A", {"\"a.js\"|"}},
        {"import A_B 1.0", {"A|"}},
        {"Item { import Foo 1.0 }\nimport B 1.0", {}},
        {"/*\nimport Foo 1.0\n*/", {"Foo|1.0"}},
        {"\xffimport A 1.0\nimport \xc3\xa4 1.0\nimport B 1.0", {"B|1.0"}},
        {std::string("import A\0 1.0\nimport B 1.0", 26), {"A|", "B|1.0"}},
    };
    for (const Case &c : cases)
        EXPECT_EQ(collect(scanQmlImports, c.text), c.imports) << c.text;
    for (const char *text : {"", ";", "import", "import ", "imports Foo 1.0", "importFoo 1.0"})
        EXPECT_EQ(collect(scanQmlImports, text), Imports()) << text;
}

TEST(QmlScanner, FindsTheStatementsWithinABinary) {
    const Case cases[] = {
        {"import Foo 1.0", {}},
        {"\1\2import Foo 1.0 as X\nimport Bar 2.11\n", {"Foo|1.0", "Bar|2.11"}},
        {"important Foo 1.0\n", {"Foo|1.0"}},
        {"import import Foo 1.0\n", {"Foo|1.0"}},
        {"importimportimport A 1.0\n", {"A|1.0"}},
        {"import Foo\n1.0\n", {}},
        {"import Foo 1.0;\nimport Foo 1.\nimport Foo .5\nimport Foo 1.2.3\nimport Foo 12\n", {}},
        {std::string("import Foo 1.0\0\n", 16), {}},
        {"import A 1.0\nimport B 1.0", {"A|1.0"}},
    };
    for (const Case &c : cases)
        EXPECT_EQ(collect(scanEmbeddedImports, c.text), c.imports) << c.text;
}

/// Each would run for hours if a byte were read again for every statement in front of it.
TEST(QmlScanner, TakesTimeInProportionToTheText) {
    constexpr std::size_t many = 100'000;
    EXPECT_EQ(collect(scanQmlImports, repeated("import A 1;", many)).size(), many);
    EXPECT_EQ(collect(scanQmlImports, "import \"" + std::string(8 << 20, 'x')).size(), 1u);
    EXPECT_EQ(collect(scanEmbeddedImports, repeated("import", many) + " A 1.0\n").size(), 1u);
    EXPECT_EQ(collect(scanEmbeddedImports, repeated("import ", many) + "A 1.0\n").size(), 1u);
    EXPECT_EQ(collect(scanEmbeddedImports, repeated("import A 1.0 ", many)).size(), 0u);
}

} // namespace
