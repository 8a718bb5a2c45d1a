#include "kelp/core/common/files/extended-attributes.h"
#include "kelp/core/common/rpm/digest.h"
#include "kelp/core/kelp/incoming/rpm-package.h"
#include "kelp/core/kelp/incoming/staging-directory.h"
#include "kelp/core/kelp/incoming/validation-setup.h"
#include "kelp/core/kelp/package/package-information.h"
#include "kelp/core/kelp/validator/configuration/config.h"

#include "rpm-writer.h"
#include "support/captured-output.h"
#include "support/error-matcher.h"
#include "support/temporary-directory.h"
#include "support/text-file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <set>

using namespace Core::KELP;
using Common::ErrorCode;
namespace fs = std::filesystem;

namespace {

constexpr std::uint16_t directory = 0040755;
constexpr std::uint16_t symlink = 0120777;

const char *const badContent = "package content validation failed";
const char *const badPayload = "Couldn't read content from rpm package";
const std::string share = "/usr/share/org.example.app/";

PackageSignatures::Cms developerCms() {
    return {PackageSignatures::Group::Developer,
            {"00ff", "Example", PackageSignatures::Subgroup::Regular, false},
            {{0, {'i', 'm', 'a'}}},
            {{0, {'t', 'a'}}}};
}

/// Packages are unpacked in a root whose developer mode lets all but critical findings pass.
class ExtractTest : public testing::Test {
protected:
    ExtractTest() {
        setValidation("false");
        writeFile(root_.path() / "outside/secret", "secret");
    }

    void setValidation(const std::string &value) {
        writeFile(root_.path() / "var/lib/developer-moded/developer-moded.conf",
                  "[developermode]\nvalidationEnabled=" + value + '\n');
    }

    PackageStaging extract(const RpmWriter &writer, std::vector<PackageSignatures::Cms> signatures) {
        const CapturedOutput report(CapturedOutput::Stream::Error);
        fs::remove_all(staging_);
        writer.write(package_);
        return RpmPackage::fromFile(package_, std::move(signatures))
            .extract(staging_, root_.path() / "version");
    }
    PackageStaging extract(const RpmWriter &writer) { return extract(writer, {developerCms()}); }

    std::string reportOn(const RpmWriter &writer) {
        CapturedOutput report(CapturedOutput::Stream::Error);
        writer.write(package_);
        fs::remove_all(staging_);
        const ValidationSetup judge{std::make_shared<Validator::Config>(Validator::Profile::Regular)};
        RpmPackage::fromFile(package_, {}).validate(staging_, {judge}, {});
        return report.take();
    }

    /// All that lies around the staging directory.
    std::set<std::string> surroundings() const {
        std::set<std::string> paths;
        for (fs::recursive_directory_iterator entry(root_.path()), end; entry != end; ++entry) {
            if (entry->path() == staging_)
                entry.disable_recursion_pending();
            else if (entry->path() != package_)
                paths.insert(entry->path().string() + ' ' + std::to_string(entry->hard_link_count()));
        }
        return paths;
    }

    TemporaryRoot root_;
    fs::path staging_ = root_.path() / "deep/below/staging";
    fs::path package_ = root_.path() / "package.rpm";
};

class WholeExtractTest : public ExtractTest {
    void SetUp() override {
        if (geteuid() != 0)
            GTEST_SKIP() << "needs root: only it may set security attributes";
    }
};

/// Directories of which each is in the one before under two names.
std::vector<WrittenFile> doublings(int depth) {
    std::vector<WrittenFile> files;
    for (int i = 0; i < depth; ++i) {
        const std::string place = share + std::to_string(i) + '/';
        const std::string next = share + std::to_string(i + 1);
        files.push_back({place, "a", symlink, next});
        files.push_back({place, "b", symlink, next});
    }
    files.push_back({share + std::to_string(depth) + '/', "file"});
    return files;
}

struct HostileCase {
    const char *name;
    std::vector<WrittenFile> files;
    std::vector<WrittenFile> payload = {}; ///< Empty for the same.
};

TEST_F(WholeExtractTest, RefusesHostilePackagesAndTouchesNothingOutside) {
    constexpr std::int32_t megabytes = 8 << 20;
    const std::string bomb(megabytes, '\0');
    std::string deep;
    while (deep.size() < 200)
        deep += "d/";
    const HostileCase contents[] = {
        {"climbs out by the directory", {{share + "../../../../../outside/", "new"}}},
        {"climbs out by the name", {{share, "../../../../../../outside/new"}}},
        {"doubled slash after a mapped directory", {{"/usr/bin//outside/", "new"}}},
        {"over-long name", {{share, std::string(300, 'x')}}},
        {"deep path", {{share + deep, "x"}}},
        {"writes through a link", {{share, "a", symlink, "../../../outside"}, {share + "a/", "new"}}},
        {"writes through a link that leads somewhere",
         {{share, "a", symlink, share + "there"}, {share + "a/sub/", "new"}}},
        {"link out", {{share, "a", symlink, "/outside/secret"}}},
        {"link to nothing", {{share, "a", symlink, "b"}}},
        {"link through a file", {{share, "a", symlink, "b/../b"}, {share, "b"}}},
        {"loop of links", {{share, "a", symlink, "b"}, {share, "b", symlink, "a"}}},
        {"link above the package",
         {{share, "a", symlink, "x/../../../../../outside/secret"}, {share + "x/", "y"}}},
        {"link for a published directory",
         {{"/usr/share/", "org.example.app", symlink, "/usr/share/other"}, {"/usr/share/other/", "a"}}},
        {"link for the parent of one",
         {{"/", "icons", symlink, "/usr/share/other"}, {"/usr/share/other/", "a"}}},
        {"links to many names", doublings(24)},
        {"directory over a link", {{share, "a", symlink, "b"}, {share, "a/", directory}}},
        {"two files of one place", {{"/usr/lib/qt5/qml/", "a"}, {"/usr/lib64/qt5/qml/", "a"}}},
        {"file over a directory", {{"/usr/lib/qt5/qml/", "a", directory}, {"/usr/lib64/qt5/qml/", "a"}}},
        {"hard link out",
         {{share + "../../../../../outside/", "new", 0100644, "", 7}, {share, "a", 0100644, "x", 7}}},
    };
    const std::vector<WrittenFile> names = {{share, "a", 0100644, "", 7}, {share, "b", 0100644, "x", 7}};
    const HostileCase payloads[] = {
        {"over-long path", {{share, std::string(4096, 'x')}}},
        {"shorter payload", {{share, "a", 0100644, "content", 0, 1000000}}},
        {"longer payload", {{share, "a", 0100644, "content", 0, -3}}},
        {"bomb", {{share, "a", 0100644, bomb, 0, 1 - megabytes}}},
        {"other names in the payload", {{share, "a"}}, {{share, "b"}}},
        {"missing in payload", {{share, "a"}, {share, "b"}}, {{share, "a"}}},
        {"a directory missing", {{share, "a"}, {share, "b", directory}}, {{share, "a"}}},
        {"a link missing", {{share, "a"}, {share, "b", symlink, "a"}}, {{share, "a"}}},
        {"a name missing", names, {names[1]}},
    };
    fs::create_directories(staging_);
    fs::create_directories(root_.path() / "version/data/there/sub");
    const std::set<std::string> before = surroundings();
    const auto refuses = [&](const HostileCase &hostile, ErrorCode code, const char *text) {
        SCOPED_TRACE(hostile.name);
        RpmWriter writer;
        writer.files = hostile.files;
        writer.payload = hostile.payload;
        EXPECT_THAT([&] { extract(writer); }, raises(code, text));
        EXPECT_EQ(surroundings(), before);
    };
    for (const HostileCase &hostile : contents)
        refuses(hostile, ErrorCode::BadPackageContent, badContent);
    for (const HostileCase &hostile : payloads)
        refuses(hostile, ErrorCode::Internal, badPayload);
}

/// A small package can have a large file under any number of names: to read it under each would take hours.
TEST_F(ExtractTest, ReadsAFileOfManyNamesOnce) {
    constexpr std::size_t size = 4 << 20;
    RpmWriter writer;
    for (int i = 0; i < 200; ++i)
        writer.files.push_back({share + "managed-configuration/", std::to_string(i) + ".json", 0100644,
                                i < 199 ? "" : "{" + std::string(size, ' ') + "}", 7});
    const auto readSoFar = [] {
        const std::string counts = readFile("/proc/self/io");
        return std::stoull(counts.substr(counts.find("rchar: ") + 7));
    };
    const auto before = readSoFar();
    reportOn(writer);
    EXPECT_LT(readSoFar() - before, 10 * size);
}

/// What a link brings in is never more than a copy would. Each link comes with the same file, and draws the
/// finding by its own name.
TEST_F(ExtractTest, JudgesLinksLikeCopies) {
    const std::string data = share + "d/data";
    const std::string place = "Installation not allowed in this location";
    const std::string content = "Hardcoded path found";
    const struct {
        std::vector<WrittenFile> links;
        std::string path;
        std::string finding;
    } rows[] = {
        {{{"/etc/trusted-sources/", "evil.pem", symlink, data}}, "/etc/trusted-sources/evil.pem", place},
        {{{"/etc/", "a", symlink, "../usr/share/org.example.app/d/data"}}, "/etc/a", place},
        {{{"/etc/integrityd/config.d/", "b.json", 0100755, "", 7}}, "/etc/integrityd/config.d/b.json", place},
        {{{"/etc/", "a", symlink, share + "d"}}, "/etc/a/data", place},
        {{{"/etc/", "a", symlink, share + "b"}, {share, "b", symlink, "c"}, {share, "c", symlink, "d"}},
         "/etc/a/data",
         place},
        {{{share, "a", symlink, "d/data"}}, share + "a", content},
        {{{share + "e/", "up", symlink, ".."}}, share + "e/up/d/data", content},
        {{{share, "a", symlink, "d/data"}}, share + "a", "Executable has a wrong format or encoding"},
        {{{"/usr/share/common/", "org.example", symlink, share + "d"},
          {"/usr/share/applications/", "org.example.app.desktop", 0100644,
           "[Desktop Entry]\n[X-Application]\nOrganizationName=org.example\n"}},
         "/usr/share/common/org.example",
         "Symbolic link is not allowed in place of this directory"},
    };
    for (const auto &[links, path, finding] : rows) {
        RpmWriter writer;
        writer.files = links;
        writer.files.push_back({share + "d/", "data", 0100755, "/home/defaultuser", 7});
        EXPECT_THAT(reportOn(writer), testing::HasSubstr("[" + path + "] " + finding));
    }
}

/// The store shares an organisation's data by the names in the desktop file. Those that lead out or write
/// lines count as absent.
TEST_F(WholeExtractTest, FindsTheNamesInTheDesktopFileBehindLinks) {
    const std::string group = "[Desktop Entry]\n[X-Application]\n",
                      text = group + "OrganizationName=org.example\n";
    const std::string name = "org.example.app.desktop", place = "/usr/share/applications/";
    const std::pair<std::vector<WrittenFile>, std::optional<std::string>> rows[] = {
        {{{place, name, 0100644, text}}, "org.example"},
        {{{place, name, symlink, "../org.example.app/d/a"}, {share + "d/", "a", 0100644, text}},
         "org.example"},
        {{{place, name, symlink, share + "e/a"},
          {share, "e", symlink, "d"},
          {share + "d/", "a", 0100644, text}},
         "org.example"},
        {{{place, name, 0100644, "", 7}, {share, "a", 0100644, text, 7}}, "org.example"},
        {{{"/usr/bin/", "a", 0100644, "", 7}, {place, name, 0100644, text, 7}}, "org.example"},
        {{{place, name, 0100644,
           group + "OrganizationName=../../x\nApplicationName=a\\n[certificate]\\nid=b\n"}},
         std::nullopt},
    };
    for (const auto &[files, organisation] : rows) {
        RpmWriter writer;
        writer.files = files;
        const PackageStaging staged = extract(writer);
        EXPECT_EQ(staged.orgName, organisation) << files.front().content;
        EXPECT_EQ(staged.appName, std::nullopt);
    }
}

/// Checkers that may not read a file would pass it.
TEST_F(ExtractTest, LooksIntoFilesThatHideFromTheirOwner) {
    RpmWriter writer;
    writer.files = {{share, "a", 0100000, "", 7}, {share, "b", 0100000, "/home/defaultuser", 7}};
    writer.files.push_back({share, "c", symlink, "a"});
    fs::permissions(root_.path(), fs::perms(0777));
    fs::create_directories(staging_);
    fs::permissions(staging_.parent_path(), fs::perms(0777));
    ASSERT_EQ(::seteuid(geteuid() == 0 ? 65534 : geteuid()), 0);
    RpmWriter sound;
    sound.files = {{share, "d", directory}, {share, "signed"}};
    const std::string place = (staging_ / "data/signed").string();
    EXPECT_THAT(
        [&] { extract(sound); },
        raises(ErrorCode::Filesystem, "Couldn't attach security.appid extended attribute to " + place));
    const std::string report = reportOn(writer);
    EXPECT_EQ(::seteuid(getuid()), 0);
    for (const char *name : {"a", "b", "c"})
        EXPECT_THAT(report, testing::HasSubstr("[" + share + name + "] Hardcoded path found"));
    EXPECT_EQ(fs::status(staging_ / "data/a").permissions(), fs::perms::none);
}

TEST_F(ExtractTest, RefusesIdsAndVersionsThatAreNoFileNames) {
    for (const auto &[id, version] :
         {std::pair("../outside", "1"), {"..", "1"}, {"org.example.app", "../1"}, {"a\nb", "1"}}) {
        RpmWriter writer;
        writer.id = id;
        writer.version = version;
        EXPECT_THAT([&] { extract(writer); }, raises(ErrorCode::BadPackageContent, badContent)) << id;
    }
}

TEST_F(WholeExtractTest, TakesALongFileListInOrder) {
    RpmWriter writer;
    for (int i = 10'000; i < 14'500; ++i)
        writer.files.push_back({share, std::to_string(i), symlink, "file"});
    writer.files.push_back({share, "file"});
    EXPECT_NO_THROW(extract(writer));
    std::swap(writer.files.front(), writer.files.back());
    EXPECT_THAT([&] { extract(writer); },
                raises(ErrorCode::BadPackageFileFormat, "Couldn't read rpm package"));
}

TEST_F(WholeExtractTest, UnpacksNothingElseThanItHasReadBefore) {
    RpmWriter writer;
    writer.files = {{share, "a"}};
    writer.write(package_);
    const RpmPackage package = RpmPackage::fromFile(package_, {developerCms()});
    writer.version = "2";
    writer.write(package_);
    EXPECT_THAT([&] { package.extract(staging_, root_.path() / "version"); },
                raises(ErrorCode::BadPackageFileFormat, "The package file has changed meanwhile"));
    writer.files.front().digest = Common::Rpm::sha256Of("");
    EXPECT_NO_THROW(extract(writer));
    writer.files.front().digest = Common::Rpm::sha256Of("another content");
    const auto config = std::make_shared<Validator::Config>(Validator::Profile::Regular);
    EXPECT_THAT([&] { extract(writer); },
                raises(ErrorCode::BadPackageContent, "File does not match its digest: " + share + "a"));
    const auto tried = RpmPackage::fromFile(package_, {});
    EXPECT_THAT(
        [&] { tried.validate(root_.path() / "dry", {ValidationSetup{config}}, {.comparesFiles = true}); },
        raises(ErrorCode::BadPackageContent, "File does not match its digest: " + share + "a"));
}

TEST_F(ExtractTest, FailsInTheOrderOfTheChecks) {
    RpmWriter writer;
    writer.files = {{share, "a", directory}};
    EXPECT_NO_THROW(extract(writer, {})) << "no regular file";
    writer.files.push_back({share, "b"});
    EXPECT_THAT([&] { extract(writer, {}); },
                raises(ErrorCode::MissingDeveloperSignature, "Package doesn't have developer signature"));
    EXPECT_TRUE(fs::is_directory(staging_ / "data/a"));
    setValidation("true");
    writer.files.push_back({share, "set-user-id", 0104755});
    EXPECT_THAT([&] { extract(writer, {}); },
                raises(ErrorCode::BadPackageContent, "package meta validation failed"));
}

TEST_F(WholeExtractTest, PutsFilesWhereTheStoreWantsThem) {
    RpmWriter writer;
    writer.files = {{share, "a", 0104755, "content"},
                    {share, "first", 0100644, "", 7},
                    {share, "d", 0041500},
                    {share, "l", symlink, "/usr/share/org.example.app/a"},
                    {share, "pipe", 0010644},
                    {share, "socket", 0140644},
                    {share, "terminal", 0020666},
                    {share, "disk", 0060666},
                    {"/", "contents.list", 0100644, "the package's"}};
    writer.files.push_back({share, "second", 0100644, "both", 7});
    const PackageStaging staged = extract(writer);
    EXPECT_EQ(staged.version, "1-1");
    EXPECT_EQ(readFile(staging_ / "data/a"), "content");
    EXPECT_EQ(fs::status(staging_ / "data/a").permissions(), fs::perms(0755));
    EXPECT_EQ(fs::status(staging_ / "data/d").permissions(), fs::perms(0500));
    EXPECT_EQ(fs::read_symlink(staging_ / "data/l"), root_.path() / "version/data/a");
    for (const char *special : {"pipe", "socket", "terminal", "disk"})
        EXPECT_FALSE(fs::exists(staging_ / "data" / special)) << special;
    EXPECT_TRUE(fs::equivalent(staging_ / "data/first", staging_ / "data/second")) << "names of one file";
    const fs::path repaired = root_.path() / "repaired";
    RpmPackage::fromFile(package_, {developerCms()}).restage(repaired, root_.path() / "version");
    for (const fs::path &tree : {staging_, repaired}) {
        EXPECT_EQ(Common::extendedAttribute(tree / "data/a", "security.appid"), "org.example.app");
        EXPECT_EQ(Common::extendedAttribute(tree / "data/a", "security.ima"), "ima");
        EXPECT_EQ(Common::extendedAttribute(tree / "data/a", "user.TA.shdr"), "ta");
    }
    const std::string both = " 0 0 4 " + Common::Rpm::sha256Of("both") + " - -s-h data/";
    EXPECT_EQ(readFile(staging_ / "contents.list"),
              "kelp contents 1\nd 755 0 0 0 - - ---- data\nf 755 0 0 7 " + Common::Rpm::sha256Of("content") +
                  " - -s-h data/a\nd 500 0 0 0 - - ---- data/d\nf 644" + both + "first\nl 777 0 0 0 - " +
                  (root_.path() / "version/data/a").string() + " ---- data/l\nf 644" + both +
                  "second\nend 6\n");
}

TEST(StagingDirectoryTest, RefusesPathsThatAreNotPlain) {
    const TemporaryDirectory temporary;
    StagingDirectory staging(temporary.path() / "staging");
    for (const char *path : {"", "/", "/a", ".", "..", "a/..", "a/../b", "a//b", "a/", "./a"})
        EXPECT_THAT([&] { staging.makeDirectory(path, fs::perms(0755)); },
                    raises(ErrorCode::BadPackageContent, badContent))
            << path;
    staging.createFile("a/b");
    staging.createHardlink("a/b", "c");
    EXPECT_TRUE(fs::equivalent(staging.path() / "a/b", staging.path() / "c"));
    EXPECT_THAT([&] { staging.createHardlink("../x", "d"); },
                raises(ErrorCode::BadPackageContent, badContent));
    EXPECT_THAT([&] { StagingDirectory("/sys").createFile("a"); },
                raises(ErrorCode::Filesystem, "Couldn't open file for writing rpm content: /sys/a"));
}

} // namespace
