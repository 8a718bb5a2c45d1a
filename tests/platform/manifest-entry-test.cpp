#include "platform/app-manifest/manifest-entry.h"

#include "support/temporary-directory.h"
#include "support/text-file.h"

#include <gmock/gmock.h>

namespace {

using AppManifest::ManifestEntry;
using namespace std::string_literals;

class ManifestEntryTest : public testing::Test {
protected:
    std::optional<ManifestEntry> read(const std::string &text) const {
        writeFile(file, text);
        return ManifestEntry::fromFilename(file.string());
    }

    /// An entry of these lines in the main group.
    ManifestEntry entry(const std::string &lines) const { return read("[Desktop Entry]\n" + lines).value(); }

    TemporaryDirectory directory;
    const std::filesystem::path file = directory.path() / "app.desktop";
};

TEST_F(ManifestEntryTest, LastOfThreeSandboxSectionsCounts) {
    const std::string application = "[X-Application]\nApplicationName=one\nPermissions=A;\n";
    const std::string xFencebox = "[X-Fencebox]\nApplicationName=two\nOrganizationName=org\n";
    const std::string fencebox = "[Fencebox]\nApplicationName=three\nPermissions=B;C\n";
    // Their order in the file plays no part, nor does a section take values of another.
    const struct {
        std::string sections;
        const char *name;
        const char *organisation;
        std::vector<std::string> permissions;
    } cases[] = {
        {application, "one", "", {"A"}},
        {xFencebox + application, "two", "org", {}},
        {application + fencebox, "three", "", {"B", "C"}},
    };
    for (const auto &row : cases) {
        const ManifestEntry manifest = entry(row.sections);
        EXPECT_EQ(manifest.appName(), row.name) << row.sections;
        EXPECT_EQ(manifest.appOrgname(), row.organisation) << row.sections;
        EXPECT_EQ(manifest.appPermissions(), row.permissions) << row.sections;
    }
}

TEST_F(ManifestEntryTest, RefusesWhatIsNoDesktopFileAndBearsForeignBytes) {
    struct Row {
        std::string text;
        std::optional<std::string> name; ///< Nothing for a file that is refused.
        std::vector<std::string> list;
    };
    const std::string group = "[Desktop Entry]\n";
    const Row cases[] = {
        {"", std::nullopt, {}},
        {"[X-Application]\nPermissions=Audio\n", std::nullopt, {}},
        {"Name=x\n" + group, std::nullopt, {}},
        {group + "no assignment\n", std::nullopt, {}},
        {"\xEF\xBB\xBF" + group + "Name=x\n", std::nullopt, {}},
        {group + std::string(1 << 16, '[') + "=x\n", std::nullopt, {}},
        {group + "Name=caf\xE9\nList=\xFF;b\n", "", {}},
        {group + "Name=a\0b\nList=a\0;b\n"s, "a", {"a"}},
        {"[Desktop Entry]\r\nName=x\r\nList=a;b;\r\n", "x", {"a", "b"}},
        {group + "Name=" + std::string(1 << 20, '\\'), std::string(1 << 19, '\\'), {}},
        {group + "List=" + std::string(1 << 16, ';'), "", std::vector<std::string>(1 << 16)},
    };
    for (const Row &row : cases) {
        const auto manifest = read(row.text);
        const std::string start = row.text.substr(0, 40);
        ASSERT_EQ(manifest.has_value(), row.name.has_value()) << start;
        if (manifest) {
            EXPECT_EQ(manifest->nameUnlocalized(), row.name) << start;
            EXPECT_EQ(manifest->stringVectorValue("Desktop Entry", "List"), row.list) << start;
        }
    }
}

} // namespace
