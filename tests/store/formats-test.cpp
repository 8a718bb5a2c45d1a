#include "store-fixture.h"

#include "kelp/core/kelp/incoming/symbolic-link-targets.h"
#include "kelp/core/kelp/mending/lost-descriptor.h"
#include "kelp/core/kelp/package/contents-list.h"
#include "kelp/core/kelp/package/descriptor.h"
#include "kelp/core/kelp/package/package.h"

namespace {

using namespace Core::KELP;
using Common::ErrorCode;
using testing::ElementsAre;

class DescriptorTest : public testing::Test {
protected:
    std::filesystem::path file() const { return directory.path() / "velura.pkg"; }

    TemporaryDirectory directory;
    CapturedOutput out;
};

TEST_F(DescriptorTest, NamesAreWrittenTogetherOrNotAtAll) {
    const PackageInformation extras{
        {"certificate.id", "AB"}, {"certificate.subgroup", "mdm"}, {"prev_key_ids.1", "CD"}};
    PackageStaging staging{"", "p", "1-2", "acme", std::nullopt};
    writeDescriptor(file(), staging, extras, Common::Durability::Flushed);
    PackageInformation expected = extras;
    expected.insert({{"general.id", "p"}, {"general.version", "1-2"}});
    EXPECT_EQ(readDescriptor(file()), expected);
    const auto lastTarget = [](const std::vector<Mapping> &rows) { return rows.back().target(); };
    EXPECT_EQ(lastTarget(mappingsOf({staging, extras}, Rooted::Yes)), lastTarget(publicationRows(expected)))
        << "the next move of shared data would not know of a file that only the take-over published";

    staging.appName = "app ";
    writeDescriptor(file(), staging, extras, Common::Durability::Flushed);
    expected.insert({{"general.orgname", "acme"}, {"general.appname", "app"}});
    EXPECT_EQ(readDescriptor(file()), expected);
    EXPECT_EQ(lastTarget(mappingsOf({staging, extras}, Rooted::Yes)), lastTarget(publicationRows(expected)));
}

TEST_F(DescriptorTest, RefusesWhatIsIncomplete) {
    const std::string missing = "The velura.pkg file doesn't contains required key: ";
    const std::string certificate = "[certificate]\nid=K\nsubgroup=regular\n";
    const std::pair<std::string, std::string> rows[] = {
        {"[general]\nid=\nversion=1\n" + certificate, missing + "general.id"},
        {"[general]\nid=p\n" + certificate, missing + "general.version"},
        {"[general]\nid=p\nversion=1\n", missing + "certificate.subgroup"},
        {"[general]\nid=p\nversion=1\n[certificate]\nsubgroup=x\n", missing + "certificate.id"},
        {"[general]\nid=p\nid=q\n", "Couldn't parse velura.pkg file: " + file().string()},
    };
    EXPECT_THAT([&] { readDescriptor(file()); },
                raises(ErrorCode::Internal, "Couldn't find velura.pkg file: " + file().string()));
    for (const auto &[content, message] : rows) {
        writeFile(file(), content);
        EXPECT_THAT([&] { readDescriptor(file()); }, raises(ErrorCode::Internal, message)) << content;
    }
}

TEST_F(DescriptorTest, AFailureToWriteTellsTheReasonAndKeepsTheOldFile) {
    writeFile(file(), "old");
    const auto write = [&] {
        writeDescriptor(file(), {"", "p", "1", {}, {}}, {{"too.deep.key", "x"}}, Common::Durability::Flushed);
    };
    EXPECT_THAT(write, testing::ThrowsMessage<Common::Error>(
                           testing::StartsWith("Couldn't create velura.pkg file: ")));
    EXPECT_EQ(readFile(file()), "old");
}

TEST(ContentsList, ComesBackAndTearsWhole) {
    using Type = ContentsEntry::Type;
    const std::string digest(64, 'a');
    const ContentsList list{
        "2026-11-26",
        {{Type::Directory, 0750, 1, 2, 0, "", "", true, false, false, false, false, "bin"},
         {Type::File, 0, 0, 0, 1ULL << 40, digest, "", false, true, false, true, true, "bin/a b\\n\nc"},
         {Type::Link, 0777, 0, 0, 0, "", "to \\s\n- x", false, false, true, false, false, "data/ link"}}};
    const std::string text = list.format();
    const auto again = ContentsList::parse(text);
    ASSERT_TRUE(again);
    EXPECT_EQ(again->foundOn, list.foundOn);
    EXPECT_EQ(again->entries, list.entries);
    for (std::size_t size = 0; size < text.size(); ++size)
        EXPECT_FALSE(ContentsList::parse(text.substr(0, size))) << size;
    // Whoever repairs acts as root on what a list names.
    for (const std::string row :
         {"end 3 > end 2", "end 3\n > end 3\n\n", "d 750 > d 1750", "d 750 > d -1", "c--- > x---",
          "a - -s > - -s", "a - -s > aa - -s", "p bin/a > p /bin/a", "p bin/a > p bin/../a",
          "p bin/a > p bin//a", "c--- bin > c--- velura.pkg", "data/  > @resources/", "c--- bin > c--- "}) {
        const std::string from = row.substr(0, row.find(" > "));
        std::string torn = text;
        torn.replace(torn.find(from), from.size(), row.substr(from.size() + 3));
        EXPECT_FALSE(ContentsList::parse(torn)) << row;
    }
}

TEST(EmergencyPackage, IsMadeOfADescriptor) {
    PackageInformation information{{"general.id", "p"},       {"general.version", "1"},
                                   {"certificate.id", "K"},   {"general.appname", "app"},
                                   {"prev_key_ids.2", "two"}, {"prev_key_ids.10", "ten"},
                                   {"prev_key_ids", "none"}};
    EXPECT_FALSE(makeEmergencyPackage(information));
    information["certificate.subgroup"] = "auth";
    const auto package = makeEmergencyPackage(information);
    ASSERT_TRUE(package);
    EXPECT_EQ(package->id() + " " + package->version() + " " + package->firstSignature().keyId, "p 1 K");
    EXPECT_THAT(package->firstSignature().previousKeyIds, ElementsAre("ten", "two"));
    const std::vector<std::string> keys = {"a", "b", "c", "d", "e", "f", "g", "h", "i", "j"};
    EXPECT_EQ(previousKeyIds(developerValues({"K", "", {}, false}, keys)), keys);
    EXPECT_THAT([&] { package->extract("/a", "/b"); },
                raises(ErrorCode::Internal, "Unimplemented in EmergencyPackage"));
}

TEST(ResolveLink, KeepsLinksWithinTheVersion) {
    const TemporaryDirectory directory;
    const auto translate = [](const std::filesystem::path &path) {
        return std::filesystem::path("t") / path.relative_path();
    };
    const std::pair<const char *, const char *> rows[] = {
        {"foo", "foo"},
        {"../lib/x", "/v/t/usr/lib/x"},
        {"./x", "/v/t/usr/share/x"},
        {".hidden", "/v/t/usr/share/.hidden"},
        {"/usr/bin/x", "/v/t/usr/bin/x"},
        {"", "/v/t/usr/share"},
        {"../../../../../etc/passwd", "/v/t/etc/passwd"},
    };
    for (const auto &[target, expected] : rows) {
        const auto [place, resolved] = resolveLink("/usr/share/link", target, "/d", "/v", translate);
        EXPECT_EQ(place, "/d/t/usr/share/link");
        EXPECT_EQ(resolved, expected) << target;
    }
    EXPECT_EQ(resolveLink("/a", "/b", "/d", "v", translate).second,
              std::filesystem::current_path() / "v/t/b");
    EXPECT_THROW(resolveLink("/a", "b", "/d", "/v", {}), std::bad_function_call);
}

} // namespace
