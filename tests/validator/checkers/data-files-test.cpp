#include "kelp/core/kelp/validator/data/configuration-parameter-file.h"
#include "kelp/core/kelp/validator/data/icon.h"
#include "kelp/core/kelp/validator/data/integrityd.h"
#include "kelp/core/kelp/validator/data/manifest.h"

#include "checker-fixture.h"
#include "support/error-matcher.h"
#include "support/text-file.h"
#include "validator/content/png-image.h"

#include <glib.h>

#include <stdexcept>

using namespace Validator;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

namespace {

class DataFilesTest : public CheckerTest {
protected:
    // A complaint of the JSON library about its use ends the test program.
    void SetUp() override { g_log_set_always_fatal(G_LOG_LEVEL_CRITICAL); }

    template<class Checker>
    Lines validate(const std::string &path, std::string_view content) {
        const auto checker = make<Checker>();
        const std::string realPath = unpack(content);
        EXPECT_TRUE(checker->canValidate(path, realPath)) << path;
        return linesOf([&] {
            checker->validate(path, realPath);
            if constexpr (!std::is_same_v<Checker, Icon>)
                checker->finish();
        });
    }

    Lines validateManifest(std::string_view content) { return validate<Manifest>("/manifest.json", content); }
};

std::string iconPath(int size) {
    const std::string side = std::to_string(size);
    return "/usr/share/icons/hicolor/" + side + "x" + side + "/apps/org.example.app.png";
}

TEST_F(DataFilesTest, IconHasTheSizeOfItsPath) {
    EXPECT_THAT(validate<Icon>(iconPath(86), pngImage(86, 86)), IsEmpty());
    for (const std::string &content : {pngImage(87, 86), pngImage(86, 87), std::string("no image")})
        EXPECT_THAT(validate<Icon>(iconPath(86), content),
                    ElementsAre("icon-wrong-size(" + iconPath(86) + ")"));
}

TEST_F(DataFilesTest, EverySizeOfTheIconIsThere) {
    const auto checker = make<Icon>();
    const std::string wrong = unpack("no image");
    EXPECT_TRUE(checker->canValidate(iconPath(86), wrong));
    EXPECT_FALSE(checker->canValidate(iconPath(86), wrong));
    EXPECT_TRUE(checker->canValidate(iconPath(108), wrong));
    EXPECT_FALSE(checker->canValidate(iconPath(64), wrong));
    EXPECT_FALSE(checker->canValidate("/usr/share/icons/hicolor/128x128/apps/other.png", wrong));
    EXPECT_THAT(linesOf([&] { checker->finish(); }),
                UnorderedElementsAre("icon-wrong-size(" + iconPath(128) + ")",
                                     "icon-wrong-size(" + iconPath(172) + ")"));
    profile_ = Profile::MDM; // It needs none.
    EXPECT_FALSE(make<Icon>()->canValidate(iconPath(86), wrong));
    EXPECT_THAT(linesOf([&] { make<Icon>()->finish(); }), IsEmpty());
}

TEST_F(DataFilesTest, ManifestNamesAVersionThatTheSystemHas) {
    const struct {
        Lines lines;
        std::vector<std::string> contents;
    } cases[] = {
        {{},
         {R"({"minOSVersion": "4.0.2"})", R"({"minOSVersion": "4.0"})",
          R"({"minOSVersion": ["5.0.1", "4.0.1"]})", R"({"minOSVersion": "9.0", "minOSVersion": "4.0"})",
          R"({"keepMediaActiveInBackground": true, "minOSVersion": "4.0"})",
          R"({"minOSVersion": [)" + repeated("\"9.1\",", 20'000) + "\"4.0\"]}"}},
        {{"manifest-version-incompatible"},
         {R"({"minOSVersion": ["5.0.1", "3.9.1"]})", R"({"minOSVersion": []})",
          R"({"minOSVersion": "4.x"})"}},
        {{"manifest-version-missing"}, {R"({})", R"({"minOSVersion": null})"}},
        {{"manifest-version-invalid"},
         {R"({"minOSVersion": 5})", R"({"minOSVersion": {}})", R"({"minOSVersion": ["4.0", 5]})",
          R"({"minOSVersion": ["9.0", null]})"}},
        {{"manifest-key-type(keepMediaActiveInBackground)"},
         {R"({"minOSVersion": "4.0", "keepMediaActiveInBackground": "yes"})"}},
        {{"manifest-invalid-json"},
         {"[1, 2]", "\"4.0\"", "null", "", "{} x", "{\"minOSVersion\": \"4.0\"", "{\"\xff\": 1}",
          repeated("[", 10'000) + repeated("]", 10'000),
          R"({"minOSVersion": )" + repeated("[", 10'000) + repeated("]", 10'000) + "}",
          R"({"minOSVersion": "4.0"})" + std::string(1'100'000, ' '),
          R"({"minOSVersion": [)" + repeated("\"4.0\",", 200'000) + "\"4.0\"]}"}},
        {{"manifest-key-type(keepMediaActiveInBackground)", "manifest-version-missing"},
         {R"({"keepMediaActiveInBackground": null})"}},
        {{"manifest-key-unknown(foo)", "manifest-key-unknown()", "manifest-version-incompatible"},
         {R"({"foo": 1, "minOSVersion": "9.0", "": []})"}},
    };
    for (const auto &c : cases)
        for (const std::string &content : c.contents)
            EXPECT_EQ(validateManifest(content), c.lines) << content.substr(0, 100);
}

TEST_F(DataFilesTest, ManifestMayEndTheValidation) {
    EXPECT_THAT(validateManifest(R"({"minOSVersion": ["5.0", "4"]})"),
                ElementsAre("manifest-version-incomparable"));
    std::filesystem::remove(root_.path() / "etc/os-release");
    EXPECT_THAT([&] { validateManifest(R"({"minOSVersion": "4.0"})"); },
                raises(Common::ErrorCode::Internal, "Couldn't retrieve Velura OS version"));
    EXPECT_THAT(validateManifest("{}"), ElementsAre("manifest-version-missing"));
    EXPECT_THAT(validateManifest(R"({"minOSVersion": ["5.0", "x"]})"),
                ElementsAre("manifest-version-incompatible"));
}

TEST_F(DataFilesTest, ManifestLiesAtOnePlace) {
    const auto checker = make<Manifest>();
    for (const char *path : {"manifest.json", "/usr/manifest.json", "/manifest.json2", ""})
        EXPECT_FALSE(checker->canValidate(path, ""));
    EXPECT_THAT(linesOf([&] { checker->validate("/manifest.json", "/dev/zero"); }),
                ElementsAre("manifest-invalid-json"));
    EXPECT_THAT(linesOf([&] { checker->finish(); }), IsEmpty());
}

TEST_F(DataFilesTest, IntegrityDaemonWatchesOnlyThePackage) {
    const std::string path = "/etc/integrityd/config.d/org.example.app.json";
    list({"/usr/bin/foo", "/usr/bin", "file:/usr/bin/foo"});
    const std::pair<std::string, Lines> cases[] = {
        {R"({"watch": ["file:/usr/bin/foo", "elf:/usr/bin/foo", "/usr/bin/foo"]})", {}},
        {R"({"watch": ["elf:file:/usr/bin/bar"]})", {"integrity-file-mismatch"}},
        {R"({"watch": ["/usr/bin/foo", "/usr/bin/bar", "/etc/shadow"]})", {"integrity-file-mismatch"}},
        {R"({"watch": [1]})", {"integrity-file-mismatch"}},
        {"no JSON", {"integrity-file-invalid-json"}},
    };
    for (const auto &[content, lines] : cases)
        EXPECT_EQ(validate<Integrityd>(path, content), lines) << content.substr(0, 100);
    const auto checker = make<Integrityd>();
    EXPECT_FALSE(checker->canValidate("/etc/integrityd/config.d/org.example.app2.json", ""));
    EXPECT_FALSE(checker->canValidate("/etc/integrityd/config.d/x/org.example.app.json", ""));
}

TEST_F(DataFilesTest, ConfigurationParametersAreOneObject) {
    const std::string path = "/usr/share/org.example.app/managed-configuration/deep/a.json";
    const Lines bad{"parameter-file-invalid(" + path + ")"};
    const std::vector<std::string> sound{"{}", " {\"a\": [1, -2, 1.5e3, \"\\u00e4\", null, true, {}]}\n",
                                         "{\"a\": \"" + std::string(10'000'000, 'x') + "\"}",
                                         std::string(4095, ' ') + "{}" + std::string(4094, ' ')};
    for (const std::string &content : sound)
        EXPECT_EQ(validate<ConfigurationParameterFile>(path, content), Lines()) << content.substr(0, 100);
    const std::vector<std::string> faulty{"",
                                          "[]",
                                          "null",
                                          "{} {}",
                                          "{\"a\": }",
                                          "{}" + std::string(4094, ' ') + "x",
                                          "{\"a\":" + repeated("[", 10'000) + repeated("]", 10'000) + "}"};
    for (const std::string &content : faulty)
        EXPECT_EQ(validate<ConfigurationParameterFile>(path, content), bad) << content.substr(0, 100);
    const auto checker = make<ConfigurationParameterFile>();
    for (const char *other : {"/usr/share/org.example.app/managed-configuration/a.jso",
                              "/usr/share/org.example.app/managed-configuration.json",
                              "/usr/share/org.example.other/managed-configuration/a.json",
                              "/x/usr/share/org.example.app/managed-configuration/a.json"})
        EXPECT_FALSE(checker->canValidate(other, "")) << other;
    for (const char *file : {"/dev/zero", "/"})
        EXPECT_EQ(linesOf([&] { make<ConfigurationParameterFile>()->validate(path, file); }), bad) << file;
}

} // namespace
