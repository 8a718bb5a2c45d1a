#include "kelp/core/kelp/validator/configuration/profile.h"

#include "kelp/core/kelp/validator/configuration/config.h"
#include "kelp/core/kelp/validator/configuration/pattern-set.h"
#include "platform/package-signatures/certificate.h"
#include "support/captured-output.h"
#include "support/temporary-directory.h"
#include "support/text-file.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

using namespace Validator;

namespace {

using PackageSignatures::Certificate;
using PackageSignatures::Subgroup;

auto raisesOutOfRange(const std::string &text) {
    return testing::ThrowsMessage<std::out_of_range>(testing::StrEq(text));
}

Profile ofSubgroup(std::int32_t subgroup) {
    return profileFromCertificate(Certificate("K", "S", static_cast<Subgroup>(subgroup), false));
}

/// A profile built without its line on the missing developer mode file.
Config quietConfig(Profile profile) {
    CapturedOutput line(CapturedOutput::Stream::Error);
    return Config(profile);
}

TEST(Profile, IsFoundByNameAndSubgroup) {
    // Each with whether it wants an icon and a desktop file.
    const std::tuple<const char *, bool, bool> rows[] = {
        {"regular", true, true},    {"extended", false, false}, {"mdm", false, false},
        {"antivirus", true, false}, {"auth", false, false},     {"market", true, true},
        {"systemapp", true, true},  {"pwa", true, true}};
    for (std::uint32_t number = 0; number < std::size(rows); ++number) {
        const auto &[name, wantsIcon, wantsDesktopFile] = rows[number];
        EXPECT_EQ(profileFromName(name), Profile{number});
        EXPECT_EQ(profileName(Profile{number}), name);
        const Config config = quietConfig(Profile{number});
        EXPECT_EQ(std::tuple(config.name(), config.isIconRequired("/any"), config.isDesktopFileRequired()),
                  std::tuple(name, wantsIcon, wantsDesktopFile));
    }

    std::string bySubgroup;
    for (std::int32_t subgroup = 1; subgroup <= 7; ++subgroup)
        bySubgroup += profileName(ofSubgroup(subgroup)) + ' ';
    EXPECT_EQ(bySubgroup, "regular antivirus extended mdm auth market systemapp ");
}

TEST(Profile, IsRefusedWhenUnknown) {
    EXPECT_THAT([] { profileFromName("Regular"); }, raisesOutOfRange("Unknown profile name: Regular"));
    EXPECT_THAT([] { profileName(Profile{8}); }, raisesOutOfRange("Unknown profile type: 8"));
    EXPECT_THAT([] { ofSubgroup(0); }, raisesOutOfRange("Unknown developer subgroup: 0"));
    EXPECT_THAT([] { ofSubgroup(-1); }, raisesOutOfRange("Unknown developer subgroup: -1"));
    EXPECT_EQ(quietConfig(Profile{8}).name(), "regular");
}

TEST(Config, AnswersFromTheListsOfItsProfile) {
    const struct {
        Profile profile;
        const Configuration::PatternSet &(Config::*list)() const;
        const char *text;
        bool isContained;
    } cases[] = {
        {Profile::Regular, &Config::allowedLibraries, "libQt5Core.so.5(Qt_5.6)", true},
        {Profile::Regular, &Config::allowedLibraries, "libQt5Core.so.5(Qt_5_PRIVATE_API)", false},
        {Profile::Regular, &Config::reservedQmlImports, "Halyard.Vitrine 1.0", true},
        {Profile::Regular, &Config::deprecatedQmlImports, "Halyard.Lipstick 1.1", false},
        {Profile::Auth, &Config::allowedLibraries, "libudev.so.1(LIBUDEV_183)", true},
        {Profile::Extended, &Config::allowedLibraries, "libudev.so.1(LIBUDEV_183)", false},
        {Profile::MDM, &Config::allowedLibraries, "libtvklog.so.1", true},
        {Profile::Regular, &Config::allowedLibraries, "libtvklog.so.1", false},
        {Profile::Pwa, &Config::allowedPaths, "/usr/lib64/qt5/qml/A/qmldir", false},
        {Profile::Market, &Config::allowedPaths, "/etc/trusted-sources/a/b.pem", true},
    };
    for (const auto &c : cases)
        EXPECT_EQ((quietConfig(c.profile).*c.list)().contains(c.text), c.isContained)
            << profileName(c.profile) << ' ' << c.text;
}

TEST(Config, ReadsTheDeveloperMode) {
    const std::string fallback = ". Using default value for validation enabled: true\n";
    const std::string missing =
        "Config parameter 'developermode.validationEnabled' in developer-moded.conf not found" + fallback;
    const std::string error = "Error reading developer-moded.conf: ";
    const char *const pipe = "";
    const struct {
        const char *content;
        bool isEnabled;
        std::string complaint; ///< FILE stands for the file's path.
    } cases[] = {
        {"[developermode]\nvalidationEnabled=false\n", false, ""},
        {"[developermode]\nother=false\n", true, missing},
        {"[developermode]\nvalidationEnabled=no\n", true,
         error + "conversion of data to type \"b\" failed" + fallback},
        {"[developermode\n", true, error + "FILE(1): unmatched '['" + fallback},
        {nullptr, true, error + "FILE: cannot open file" + fallback},
        {pipe, true, error + "FILE: cannot open file" + fallback},
    };
    for (auto c : cases) {
        const TemporaryRoot root;
        const auto file = root.path() / "var/lib/developer-moded/developer-moded.conf";
        if (c.content != nullptr)
            writeFile(file, c.content);
        if (c.content == pipe) {
            std::filesystem::remove(file);
            ASSERT_EQ(::mkfifo(file.c_str(), 0600), 0);
        }
        if (const auto at = c.complaint.find("FILE"); at != std::string::npos)
            c.complaint.replace(at, 4, file);
        CapturedOutput output(CapturedOutput::Stream::Error);
        EXPECT_EQ(Config(Profile::MDM).validationEnabled(), c.isEnabled);
        EXPECT_EQ(output.take(), c.complaint);
    }
}

} // namespace
