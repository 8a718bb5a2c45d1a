#include "kelp/core/kelp/mappings/mapping-table.h"

#include "support/scoped-environment.h"

#include <gtest/gtest.h>

namespace {

using namespace Core::KELP;

TEST(MappingTable, ConditionalRowsFollowTheNamesAndTheKey) {
    const struct {
        const char *keyId;
        std::optional<std::string> orgName;
        std::optional<std::string> appName;
        std::vector<std::string> targets; ///< Of the rows behind the fixed ones, for the forward direction.
    } rows[] = {
        {"K", std::nullopt, "app", {}},
        {"K", "", "app", {}},
        {"", "acme", std::nullopt, {}},
        {"K", "acme", std::nullopt, {"/mnt/x/usr/share/common/acme/K/"}},
        {"K", "acme", "", {"/mnt/x/usr/share/common/acme/K/"}},
        {"", "acme", "app", {"/mnt/x/usr/share/common/acme/app/"}},
        {"K", "acme", "app", {"/mnt/x/usr/share/common/acme/K/", "/mnt/x/usr/share/common/acme/app/"}},
    };
    const ScopedEnvironment root("KELP_ROOT_FS", "/mnt/x");
    for (const auto &row : rows) {
        const auto mappings = buildMappings("p", row.keyId, row.orgName, row.appName, Rooted::Yes);
        ASSERT_EQ(mappings.size(), 19 + row.targets.size());
        EXPECT_EQ(mappings.front().target(), "/mnt/x/usr/bin/");
        for (std::size_t i = 0; i < row.targets.size(); ++i)
            EXPECT_EQ(mappings[19 + i].target(), row.targets[i]);
    }
}

TEST(MappingTable, BackwardDirectionKnowsTheOldOrganisationPathAndBothLibraryDirectories) {
    const auto mappings = buildMappings("p", "K", "acme", "app", Rooted::No);
    ASSERT_EQ(mappings.size(), 19u + 2 + 3);
    EXPECT_EQ(mappings[19].target(), "/usr/share/common/acme/");
    EXPECT_EQ(mappings[19].requiresCopy(), 1);
    EXPECT_EQ(mappings[20].ownsDirectory(), 1);
    EXPECT_EQ(mappings[21].target(), "/usr/lib64/connman/plugins-vpn/");
    EXPECT_EQ(mappings[21].requiresCopy(), 1);
    EXPECT_EQ(mappings[23].target(), "/usr/lib64/3rdparty/p/");
    EXPECT_EQ(mappings[23].ownsDirectory(), 1);
}

TEST(MappingTable, FindsThePackagePathOfASystemPath) {
    const auto mappings = buildMappings("p", "K", "acme", "app", Rooted::No);
    const std::pair<const char *, const char *> rows[] = {
        {"/usr/bin/tool", "bin/tool"},
        {"/usr/bin", "bin"},
        {"/usr/bin/", "bin"},
        {"/usr/lib/3rdparty/p/lib.so", "3rdparty/lib.so"},
        {"/usr/lib64/qt5/qml/x", "qt5/qml/x"},
        {"/usr/share/p", "data"},
        {"/usr/share/p/qml/Main.qml", "data/qml/Main.qml"},
        {"/usr/share/p2/x", "usr/share/p2/x"},
        {"/usr/share/icons/hicolor/64x64/apps/p.png", "usr/share/icons/hicolor/64x64/apps/p.png"},
        {"/usr/share/common/acme/logo", "vendor-common/logo"},
        // The organisation's row stands before the application's and wins.
        {"/usr/share/common/acme/app/x", "vendor-common/app/x"},
        {"/manifest.json", "manifest.json"},
        {"relative/x", "relative/x"},
        {"/", ""},
        // A doubled slash must not turn the remainder into a path of its own.
        {"/usr/bin//etc/passwd", "bin/etc/passwd"},
        {"//etc/x", "etc/x"},
    };
    for (const auto &[system, package] : rows)
        EXPECT_EQ(packagePathOf(system, mappings), package) << system;
}

} // namespace
