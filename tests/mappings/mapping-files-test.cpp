#include "kelp/core/kelp/mappings/mapping-files.h"

#include "kelp/core/common/files/extended-attributes.h"
#include "support/captured-output.h"
#include "support/error-matcher.h"
#include "support/temporary-directory.h"
#include "support/text-file.h"

namespace {

using namespace Core::KELP;
using Common::ErrorCode;
namespace fs = std::filesystem;

class MappingFilesTest : public testing::Test {
protected:
    MappingFilesTest() { writeFile(source, "content"); }

    TemporaryDirectory directory;
    CapturedOutput out;
    const fs::path source = directory.path() / "store/bin/tool";
    const fs::path target = directory.path() / "usr/bin/tool";
};

TEST_F(MappingFilesTest, CopiedLinkStaysALinkWithoutAttribute) {
    fs::create_symlink("tool", source.parent_path() / "alias");
    createMapping(source.parent_path() / "alias", target, MappingMode::Copy);
    EXPECT_EQ(fs::read_symlink(target), "tool");
}

TEST_F(MappingFilesTest, ReplacesAMappingWhoseTargetIsGone) {
    fs::create_directories(target.parent_path());
    fs::create_symlink(directory.path() / "gone", target);
    createMapping(source, target, MappingMode::Link);
    EXPECT_EQ(fs::read_symlink(target), source);
    EXPECT_EQ(out.take(), "[I] Cleaning up broken mapping: \"" + target.string() + "\"\n");

    fs::remove(target);
    writeFile(target, "old copy");
    Common::setExtendedAttribute(target, "user.kelp.mapping.target", (directory.path() / "gone").string());
    createMapping(source, target, MappingMode::Copy);
    EXPECT_EQ(readFile(target), "content");
}

TEST_F(MappingFilesTest, RefusesToReplaceWhatIsThere) {
    const auto expectConflict = [&](const char *what) {
        EXPECT_THAT([&] { createMapping(source, target, MappingMode::Link); },
                    raises(ErrorCode::FileConflict,
                           "Attempt to overwrite existing file using mapping: " + target.string()))
            << what;
        fs::remove(target);
    };
    createMapping(source, target, MappingMode::Copy);
    expectConflict("a healthy mapping");

    writeFile(target.parent_path() / "neighbour", "x");
    fs::create_symlink("neighbour", target);
    expectConflict("a healthy relative link");
}

TEST_F(MappingFilesTest, FailuresNameBothPaths) {
    EXPECT_THAT(
        [&] { createMapping(directory.path() / "none", target, MappingMode::Copy); },
        raises(ErrorCode::Filesystem, "Couldn't create mapping: " + (directory.path() / "none").string() +
                                          " -> " + target.string()));
    EXPECT_THAT([&] { mappingTarget(target); },
                raises(ErrorCode::Internal, "Coulnd't retrieve target of " + target.string() + " mapping"));
}

} // namespace
