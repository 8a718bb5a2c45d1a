#include "kelp/core/common/files/filesystem.h"

#include "kelp/core/common/files/copy.h"
#include "kelp/core/common/files/directory.h"
#include "kelp/core/common/files/durable-file.h"
#include "kelp/core/common/files/extended-attributes.h"
#include "kelp/core/common/files/path-tests.h"
#include "kelp/core/common/places.h"
#include "support/captured-output.h"
#include "support/error-matcher.h"
#include "support/temporary-directory.h"
#include "support/text-file.h"

#include <sys/stat.h>
#include <unistd.h>

#include <tuple>

namespace {

using Common::ErrorCode;
using testing::HasSubstr;
using testing::UnorderedElementsAre;
namespace fs = std::filesystem;

class FilesystemTest : public testing::Test {
protected:
    fs::path at(const char *name) const { return root.path() / name; }
    std::string text(const char *name) const { return at(name).string(); }

    TemporaryRoot root;
    CapturedOutput out;
};

TEST_F(FilesystemTest, CopyKeepsATreeWithPermissionsAttributesAndLinks) {
    writeFile(at("from/sub/file"), "content");
    fs::permissions(at("from/sub/file"), fs::perms(0751));
    Common::setExtendedAttribute(at("from/sub/file"), "user.note", "kept");
    fs::create_symlink("file", at("from/sub/link"));
    fs::create_directory_symlink("sub", at("from/dirlink"));

    Common::copy(at("from"), at("to/deep"));

    EXPECT_EQ(readFile(at("to/deep/sub/file")), "content");
    EXPECT_EQ(fs::status(at("to/deep/sub/file")).permissions(), fs::perms(0751));
    EXPECT_EQ(Common::extendedAttribute(at("to/deep/sub/file"), "user.note"), "kept");
    EXPECT_EQ(fs::read_symlink(at("to/deep/sub/link")), "file");
    EXPECT_EQ(fs::read_symlink(at("to/deep/dirlink")), "sub");
    EXPECT_EQ(out.take(), "");
}

TEST_F(FilesystemTest, CopyDoesNotRunAsRootWhatRanAsSomebodyElse) {
    const struct {
        uid_t owner;
        gid_t group;
        mode_t copied;
    } rows[] = {{0, 0, 06755}, {1234, 0, 0755}, {1234, 1234, 0755}, {0, 1234, 04755}};
    for (const auto &[owner, group, copied] : rows) {
        writeFile(at("file"), "x");
        if (::chown(at("file").c_str(), owner, group) != 0)
            continue; // The row is root's to set up.
        ASSERT_EQ(::chmod(at("file").c_str(), 06755), 0);
        Common::copy(at("file"), at("copy"));
        struct stat status = {};
        ASSERT_EQ(::stat(at("copy").c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 07777, copied) << owner << ":" << group;
        fs::remove(at("copy"));
    }
}

TEST_F(FilesystemTest, CopyRefusesWhatItCannotDoFaithfullyAndLeavesNoPart) {
    writeFile(at("file"), "x");
    writeFile(at("from/a/file"), "x");
    fs::create_directories(at("from/a/b"));
    fs::create_symlink("nowhere", at("dangling"));
    ASSERT_EQ(::mkfifo(at("from/a/b/fifo").c_str(), 0600), 0);
    Common::flushFilesystem(at("from/a/b/fifo")); // Waits for no writer.
    const std::tuple<const char *, const char *, std::string> rows[] = {
        {"dangling", "to",
         "Couldn't copy " + text("dangling") + " to " + text("to") + " (path " + text("dangling") +
             " doesn't exists)"},
        {"file", "file", "Couldn't copy " + text("file") + " to " + text("file") + " (path already exists)"},
        {"from", "to", "Couldn't copy unsupported filesystem entry " + text("from/a/b/fifo")},
    };
    for (const auto &[from, to, message] : rows) {
        const fs::path source = at(from), target = at(to);
        EXPECT_THAT([&] { Common::copy(source, target); }, raises(ErrorCode::Filesystem, message));
        EXPECT_FALSE(fs::exists(at("to")));
    }
}

TEST_F(FilesystemTest, CopyOfALinkThatLeadsAwayBecomesItsContent) {
    writeFile(at("target"), "content");
    fs::create_symlink(at("target"), at("away"));
    Common::copy(at("away"), at("copy"));
    EXPECT_FALSE(fs::is_symlink(at("copy")));
    EXPECT_EQ(readFile(at("copy")), "content");
    EXPECT_EQ(out.take(), "[W] Symlink target is not in the same directory: \"" + text("away") + "\" -> \"" +
                              text("copy") + "\"\n[I] Trying to copy content of the symlink target\n");

    // A relative target is taken from the working directory, not from the link's.
    fs::create_directory(at("sub"));
    fs::create_symlink("../target", at("sub/up"));
    EXPECT_THAT([&] { Common::copy(at("sub/up"), at("copy2")); },
                raises(ErrorCode::Filesystem, "Attempt to copy file, but ../target is not regular file"));
}

TEST_F(FilesystemTest, ACopyInOneStepIsThereWhenItIsFinishedOrNotAtAll) {
    writeFile(at("from"), "content");
    fs::create_directory(at("to"));
    const Common::Directory directory(at("to"));
    const auto fail = [](const fs::path &) { throw std::runtime_error("no"); };
    EXPECT_THROW(Common::copyInOneStep(at("from"), directory, "copy", fail), std::runtime_error);
    EXPECT_TRUE(fs::is_empty(at("to")));

    writeFile(at("to") / Common::unfinishedCopyName, "left by a kill");
    const auto finish = [&](const fs::path &copy) {
        EXPECT_EQ(readFile(copy), "content");
        writeFile(at("to/taken"), "by somebody, meanwhile");
    };
    Common::copyInOneStep(at("from"), directory, "copy", finish);
    EXPECT_EQ(readFile(at("to/copy")), "content");
    fs::remove(at("to/taken"));
    EXPECT_THROW(Common::copyInOneStep(at("from"), directory, "taken", finish), Common::Error);
    EXPECT_EQ(readFile(at("to/taken")), "by somebody, meanwhile");
    EXPECT_FALSE(fs::exists(at("to") / Common::unfinishedCopyName));
}

TEST_F(FilesystemTest, LinksAreNotMadeOverWhatExists) {
    writeFile(at("file"), "x");
    fs::create_symlink("nowhere", at("dangling"));
    for (const auto create : {Common::createSymlink, Common::createHardlink}) {
        EXPECT_THAT([&] { create(at("file"), at("file")); },
                    testing::ThrowsMessage<Common::Error>(testing::EndsWith(" (path already exists)")));
        EXPECT_EQ(out.take(), "");
        EXPECT_THAT([&] { create(at("file"), at("dangling")); },
                    testing::ThrowsMessage<Common::Error>(testing::EndsWith(text("file"))));
        EXPECT_THAT(out.take(), HasSubstr("[E] "));
        create(at("file"), at("new/link"));
        EXPECT_EQ(readFile(at("new/link")), "x");
        fs::remove(at("new/link"));
    }
}

TEST_F(FilesystemTest, ListingFollowsItsFlagsAndFailsForADanglingLink) {
    writeFile(at("d/new"), "");
    writeFile(at("d/sub/old"), "");
    fs::last_write_time(at("d/sub/old"), fs::file_time_type::clock::now() - std::chrono::hours(2));
    fs::last_write_time(at("d/sub"), fs::file_time_type::clock::now() - std::chrono::hours(1));
    EXPECT_THAT(Common::listDirectory(at("d")), UnorderedElementsAre(at("d/new"), at("d/sub")));
    EXPECT_THAT(Common::listDirectory(at("d"), Common::Listing::Recursive | Common::Listing::SortByWriteTime),
                testing::ElementsAre(at("d/sub/old"), at("d/sub"), at("d/new")));
    fs::create_symlink("nowhere", at("d/sub/dangling"));
    EXPECT_THAT([&] { Common::listDirectory(at("d"), Common::Listing::Recursive); },
                raises(ErrorCode::Filesystem, "Couldn't read directory: " + text("d")));
}

TEST_F(FilesystemTest, TestsFollowLinksAndNeverRaise) {
    fs::create_directory_symlink(".", at("link"));
    fs::create_symlink("loop", at("loop"));
    EXPECT_TRUE(Common::isDirectory(at("link")) && Common::isSymlink(at("link")));
    EXPECT_EQ(out.take(), "");
    EXPECT_FALSE(Common::exists(at("loop")));
    EXPECT_THAT(out.take(), testing::StartsWith("[E] "));
}

TEST_F(FilesystemTest, AttributesAreBytesAndEmptyOnesAreDropped) {
    writeFile(at("file"), "");
    const std::string bytes("a\0b", 3);
    Common::setExtendedAttribute(at("file"), "user.bytes", bytes);
    Common::setExtendedAttribute(at("file"), "user.empty", "");
    EXPECT_THAT(Common::extendedAttributes(at("file")),
                testing::Contains(std::pair<std::string, std::string>("user.bytes", bytes)));
    EXPECT_THAT([&] { Common::extendedAttribute(at("file"), "user.empty"); },
                raises(ErrorCode::Filesystem,
                       "Couldn't retrieve size of user.empty extended attribute: " + text("file")));
}

TEST_F(FilesystemTest, ReplacingAFileNeitherMixesNorFollowsALinkInItsWay) {
    writeFile(at("file"), "old");
    writeFile(at("victim"), "untouched");
    fs::create_symlink("victim", at("file.new"));
    Common::replaceDurably(at("file"), "new");
    EXPECT_EQ(Common::readIfExists(at("file"), 3), "new");
    EXPECT_THROW(Common::readIfExists(at("file"), 2), Common::Error);
    EXPECT_EQ(readFile(at("victim")), "untouched");
    EXPECT_FALSE(fs::exists(fs::symlink_status(at("file.new"))));

    fs::create_directory(at("occupied"));
    EXPECT_THAT([&] { Common::replaceDurably(at("occupied"), "new"); },
                raises(ErrorCode::Filesystem, "Failed to write data to " + text("occupied") + " file"));
    EXPECT_FALSE(fs::exists(at("occupied.new")));
    EXPECT_THAT([&] { Common::writeDurably(at("none/file"), ""); },
                raises(ErrorCode::Filesystem, "Unable to open " + text("none/file") + " file for writing"));
}

} // namespace
