#include "kelp/core/kelp/mappings/mapping-table.h"

#include <gtest/gtest.h>

namespace {

using namespace Core::KELP;

TEST(MappingTable, FindsThePackagePathOfASystemPath) {
    const auto mappings = buildMappings("p", "K", "acme", "app", Rooted::No);
    const std::pair<const char *, const char *> rows[] = {
        {"/usr/bin/tool", "bin/tool"},
        {"/usr/bin/", "bin"},
        {"/usr/lib/3rdparty/p/lib.so", "3rdparty/lib.so"},
        {"/usr/lib64/qt5/qml/x", "qt5/qml/x"},
        {"/usr/share/p", "data"},
        {"/usr/share/p2/x", "usr/share/p2/x"},
        {"/usr/share/common/acme/logo", "vendor-common/logo"},
        // The organisation's row stands before the application's and wins.
        {"/usr/share/common/acme/app/x", "vendor-common/app/x"},
        {"/manifest.json", "manifest.json"},
        {"/", ""},
        // A doubled slash must not turn the remainder into a path of its own.
        {"/usr/bin//etc/passwd", "bin/etc/passwd"},
        {"//etc/x", "etc/x"},
    };
    for (const auto &[system, package] : rows)
        EXPECT_EQ(packagePathOf(system, mappings), package) << system;
    // Names that say nothing would have the store publish to the directory of all organisations.
    EXPECT_EQ(buildMappings("p", "K", "", "app", Rooted::Yes).size(), mappings.size() - 5);
    EXPECT_EQ(buildMappings("p", "", "acme", "", Rooted::Yes).size(), mappings.size() - 5);
}

} // namespace
