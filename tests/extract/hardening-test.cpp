#include "kelp/core/kelp/incoming/rpm-package.h"
#include "kelp/core/kelp/validator/configuration/config.h"

#include "rpm-writer.h"
#include "support/temporary-directory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>

using namespace Validator;
namespace fs = std::filesystem;

namespace {

constexpr std::uint16_t directory = 0040755;
constexpr std::uint16_t symlink = 0120777;
constexpr std::int32_t provides = 1047, requirements = 1049;
const std::string share = "/usr/share/org.example.app/";
const std::string applications = "/usr/share/applications/";

/// A package with what it adds to the findings on one without files, by their ids. Nothing for the honest
/// neighbour of the row before.
struct Row {
    RpmWriter package;
    std::string added;
    Profile profile = Profile::Regular;
};

std::string numbered(const std::string &text, int count) {
    std::string path;
    for (int i = 0; i < count; ++i)
        path += text + std::to_string(i) + '/';
    return path;
}

std::vector<WrittenFile> scattered(int count, int depth) {
    std::vector<WrittenFile> files;
    for (int i = 0; i < count; ++i)
        files.push_back({share + numbered(std::to_string(i) + '.', depth), "file"});
    return files;
}

class HardeningTest : public testing::Test {
protected:
    /// The ids of all findings, in the order of the report, each once.
    std::vector<std::string> idsOf(const RpmWriter &writer, Profile profile) {
        const fs::path package = root_.path() / "package.rpm";
        std::vector<std::string> ids;
        const auto note = [&](const Message &message) {
            if (std::ranges::find(ids, message.entry.id) == ids.end())
                ids.emplace_back(message.entry.id);
        };
        writer.write(package);
        fs::remove_all(root_.path() / "staging");
        const Core::KELP::RpmPackage::Trial trial{
            std::make_shared<Config>(profile, Target{}), note, note, {}, nullptr};
        Core::KELP::RpmPackage::fromFile(package, {}).validate(root_.path() / "staging", trial);
        return ids;
    }

    void expect(const std::vector<Row> &rows) {
        for (const Row &row : rows) {
            std::vector<std::string> &plain = plain_[row.profile];
            if (plain.empty())
                plain = idsOf(RpmWriter(), row.profile);
            std::string added;
            for (const std::string &id : idsOf(row.package, row.profile))
                if (std::ranges::find(plain, id) == plain.end())
                    added += (added.empty() ? "" : " ") + id;
            EXPECT_EQ(added, row.added) << &row - rows.data();
        }
    }

    TemporaryRoot root_;
    std::map<Profile, std::vector<std::string>> plain_;
};

TEST_F(HardeningTest, FindsInTheFileListWhatNoHonestPackageHas) {
    const std::string desktop = "org.example.app.desktop", json = "org.example.app.json",
                      daemon = "/etc/integrityd/config.d/";
    expect({
        {{.files = {{share, "a", 0100611}}}, "mode-half-executable"},
        {{.files = {{share, "a", 0100644}}}, ""},
        {{.files = {{applications, desktop + ".desktop"}}}, "desktop-file-second"},
        {{.files = {{applications, desktop, directory}}},
         "directory-empty desktop-file-second desktop-file-broken"},
        {{.files = {{applications, desktop, symlink, share + "a"}, {share, "a"}}},
         "link-exclusive-paths desktop-file-second desktop-file-broken"},
        {{.files = {{applications, desktop}}}, "desktop-file-broken"},
        {{.files = {{daemon, json + "x", 0100644, "{}"}}}, "integrity-file-second"},
        {{.files = {{daemon, json, 0100644, "{}"}}}, ""},
        {{.files = {{share, "a\nb"}}}, "path-impossible"},
        {{.files = {{share, "a\u0085b"}}}, "path-impossible"},
        {{.files = {{share, "a\xff"}}}, "path-impossible"},
        {{.files = {{share, "a", symlink, "b\x7f"}, {share, "b\x7f"}}},
         "link-exclusive-paths path-impossible"},
        {{.files = {{share, "a\u00e9 \u202e"}}}, ""},
        {{.files = scattered(200, 6)}, "directories-too-many"},
        {{.files = scattered(333, 3)}, ""},
        {{.files = scattered(1, 62)}, "directories-too-many"},
        {{.files = scattered(1, 60)}, ""},
        {{.files = {{share, "a", 0100644, "", 0, 0, "root", "cap_net_raw=ep"}}}, "file-capabilities"},
        {{.files = {{share, "a", 0100644, "", 0, 0, "root", "cap_net_raw=ep"}}},
         "file-capabilities-tolerated",
         Profile::Extended},
        {{.files = {{share, "a", 0100644, "", 0, 0, "root", "="}}}, ""},
        {{.files = {{"/usr/bin/", "d", directory, "", 0, 0, "nobody"}}},
         "directory-empty owner-not-root-directory"},
        {{.files = {{share, "d", directory, "", 0, 0, "nobody"}}},
         "directory-empty owner-not-root-own-directory"},
        {{.files = {{share, "d", 0042755}}}, "directory-empty special-mode-bits-directory"},
        {{.files = {{"/usr/libexec/", "org.example.app"}}}, "file-in-place-of-directory"},
        {{.files = {{"/usr/libexec/", "org.example.app", directory}}}, "directory-empty"},
        {{.files = {{"/usr/bin/", "org.example.other"}}}, "name-of-another"},
        {{.files = {{"/usr/bin/", "org.example.app.task"},
                    {"/usr/share/icons/hicolor/1x1/", "org.other.png"}}},
         ""},
    });
}

TEST_F(HardeningTest, FindsInTheWordsOfAHeaderWhatNoHonestPackageHas) {
    std::vector<Row> rows{
        {{.version = "1 2"}, "version-unusable"},
        {{.version = "1..2"}, "version-unusable"},
        {{.version = std::string(150, '1')}, "version-long"},
        {{.version = "1.2_3+4~5^6%{7}"}, ""},
        {{.lists = {{provides, {"mimehandler(application/X-RPM)"}}}}, "desktop-mime-type-forbidden"},
        {{.lists = {{provides, {"mimehandler(application/x-redhat-package-manager)"}}}},
         "desktop-mime-type-forbidden"},
        {{.lists = {{provides, {"mimehandler(application/x-rpm-list)"}}}}, ""},
    };
    for (const char *dependency :
         {"bash/", "librtld.so", "rpmlib", "rtld(X)(64bit)", "rpmlib(X) x", "a/b(c)", "(/"})
        rows.push_back({{.lists = {{requirements, {dependency}}}},
                        dependency[0] == '(' ? "dependency-not-allowed" : "dependency-disguised"});
    rows.push_back({{.lists = {{requirements, {"golang(host/x)"}}}}, "dependency-with-slash"});
    rows.push_back(
        {{.lists = {{requirements, {"rpmlib(PayloadIsXz)", "rtld(GNU_HASH)", "/usr/bin/env"}}}}, ""});
    for (const std::int32_t tag :
         {1065, 1066, 1079, 1091, 1092, 5066, 5067, 5069, 5076, 5077, 5079, 5103, 5104, 5105, 5106})
        rows.push_back({{.lists = {{tag, {"x"}}}}, "scripts-other"});
    expect(rows);
}

} // namespace
