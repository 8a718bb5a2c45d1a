#include "kelp/core/common/rpm/reader.h"
#include "kelp/core/common/rpm/tags.h"

#include "packages.h"
#include "support/captured-output.h"
#include "support/error-matcher.h"
#include "support/temporary-directory.h"
#include "support/text-file.h"

namespace {

using namespace Common::Rpm;
using Common::ErrorCode;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(Reader, ReadsTextTags) {
    const Reader reader(package("gzip"));
    EXPECT_EQ(reader.tag(Tag::Name), "org.example.kinds");
    EXPECT_EQ(reader.tag(Tag::RequireName), "(delta if epsilon)") << "the first text of a list";
    EXPECT_EQ(reader.tag(Tag::PayloadCompressor), "gzip");
    EXPECT_EQ(Reader(package("uncompressed")).tagOr(Tag::PayloadCompressor, "none"), "none");
}

TEST(Reader, RefusesTagsThatAreAbsentOrNotText) {
    constexpr std::int32_t size = 1009;
    const Reader reader(package("gzip"));
    for (const std::int32_t tag : {Tag::Vendor, size}) {
        EXPECT_THAT([&] { reader.tag(tag); },
                    raises(ErrorCode::BadPackageFileFormat,
                           "Couldn't retrieve rpm tag from package (type=" + std::to_string(tag) + ")"));
        EXPECT_EQ(reader.tagOr(tag, "fallback"), "fallback");
    }
}

TEST(Reader, NamesDependenciesInOrderWithRepetitions) {
    const Reader reader(package("gzip"));
    EXPECT_THAT(reader.dependencies(Tag::ProvideName), ElementsAre("alpha", "beta", "org.example.kinds"));
    EXPECT_THAT(reader.dependencies(Tag::RequireName),
                ElementsAre("(delta", "gamma", "gamma", "rpmlib(CompressedFileNames)", "rpmlib(FileDigests)",
                            "rpmlib(PartialHardlinkSets)", "rpmlib(PayloadFilesHavePrefix)",
                            "rpmlib(RichDependencies)"));
    EXPECT_THAT(reader.dependencies(Tag::ConflictName), IsEmpty());
    EXPECT_THAT(reader.dependencies(Tag::Name), IsEmpty()) << "a tag that names no dependency set";
}

TEST(Reader, RefusesWhatIsNoPackage) {
    const TemporaryDirectory directory;
    const std::string whole = readFile(package("gzip"));
    writeFile(directory.path() / "text", "this is no package");
    writeFile(directory.path() / "empty", "");
    writeFile(directory.path() / "in-lead", whole.substr(0, 50));
    writeFile(directory.path() / "in-header", whole.substr(0, 1500));
    writeFile(directory.path() / "damaged", std::string(whole).replace(whole.find("Files of"), 5, "Piles"));

    // Nobody writes to it: who waits for that waits for good.
    ASSERT_EQ(::mkfifo((directory.path() / "pipe").c_str(), 0600), 0);

    CapturedOutput complaints(CapturedOutput::Stream::Error);
    const std::pair<const char *, const char *> rows[] = {
        {"text", "it is no rpm package"},    {"empty", "it is no rpm package"},
        {"in-lead", "it is cut short"},      {"in-header", "it is cut short"},
        {".", "it is a directory"},          {"pipe", "it is no regular file"},
        {"damaged", "its header is damaged"}};
    for (const auto &[name, reason] : rows)
        EXPECT_THAT([&] { Reader(directory.path() / name); },
                    testing::Throws<Common::Error>(testing::AllOf(
                        testing::Property(&Common::Error::what, testing::StrEq("Couldn't read rpm package")),
                        testing::Property(&Common::Error::systemReason, reason))))
            << name;
    EXPECT_THAT([&] { Reader(directory.path() / "missing"); },
                raises(ErrorCode::FileNotFound, "Couldn't open rpm package"));
}

} // namespace
