#include "kelp/core/common/files/directory.h"

#include "support/temporary-directory.h"
#include "support/text-file.h"

#include <gmock/gmock.h>

#include <sys/stat.h>
#include <unistd.h>

#include <functional>

namespace {

namespace fs = std::filesystem;
using Common::Directory;
using testing::ElementsAre;

/// Whether the operation is refused for a link in its way.
bool refuses(const std::function<void()> &operation) {
    try {
        operation();
    } catch (const std::system_error &error) {
        EXPECT_TRUE(Directory::isRefusal(error)) << error.what();
        return true;
    }
    return false;
}

class DirectoryTest : public testing::Test {
protected:
    fs::path at(const std::string &path) const { return root.path() / path; }

    TemporaryDirectory root;
};

TEST_F(DirectoryTest, NeitherFollowsLinksNorLeavesItsPlace) {
    writeFile(at("outside/sub/file"), "");
    writeFile(at("base/real/sub/file"), "");
    fs::create_directory_symlink("real", at("base/inside"));
    fs::create_directory_symlink(at("outside"), at("base/away"));
    fs::create_directory_symlink("/proc/self/cwd", at("base/magic"));
    const Directory base(at("base"));
    for (const char *path : {"inside", "inside/sub", "away", "away/sub", "magic", "real/../real", "..", "/"})
        EXPECT_TRUE(refuses([&] { base.find(path); })) << path;
    for (const char *path : {"away/new", "inside/new", "../new"})
        EXPECT_TRUE(refuses([&] { base.make(path); })) << path;
    EXPECT_FALSE(fs::exists(at("outside/new")));

    EXPECT_THAT(base.find("real/sub/")->names(), ElementsAre("file"));
    for (const char *path : {"none", "none/sub", "real/sub/file", "real/sub/file/x"})
        EXPECT_FALSE(base.find(path)) << path;
}

TEST_F(DirectoryTest, WhatIsMadeIsLikeItsParentAlsoAfterAKill) {
    const uid_t owner = ::geteuid() == 0 ? 1234 : ::geteuid();
    fs::create_directories(at("org/killed"));
    fs::permissions(at("org/killed"), fs::perms(0700));
    ASSERT_EQ(::chown(at("org").c_str(), owner, ::getegid()), 0);
    fs::permissions(at("org"), fs::perms(0770));
    const Directory base(root.path());
    for (const char *path : {"org/new", "org/killed"}) {
        base.make(fs::path(path) / "common");
        struct stat status = {};
        ASSERT_EQ(::stat((at(path) / "common").c_str(), &status), 0);
        EXPECT_EQ(status.st_uid, owner) << path;
        EXPECT_EQ(status.st_mode & 07777, 0770u) << path;
    }
}

TEST_F(DirectoryTest, RemovesFilesAsFilesAndDirectoriesThatAreEmpty) {
    writeFile(at("d/file"), "");
    fs::create_directory(at("empty"));
    fs::create_directory_symlink("empty", at("link"));
    const Directory directory(root.path());
    for (const char *name : {"d", "link", "d/file", "none"})
        EXPECT_FALSE(directory.removeIfEmpty(name)) << name;
    EXPECT_TRUE(directory.removeIfEmpty("empty"));
    EXPECT_TRUE(directory.removeFile("link"));
    EXPECT_FALSE(directory.removeFile("none"));
    EXPECT_THROW(directory.removeFile("d"), fs::filesystem_error);
    EXPECT_TRUE(fs::exists(at("d/file")));
}

TEST_F(DirectoryTest, TheWayMayTakeLinksThatOnlyRootCanHaveMade) {
    const struct {
        const char *what;
        uid_t owner; ///< Of the link.
        uid_t holder;
        int mode; ///< Of the directory that holds the link.
        const char *path = "way/link";
        fs::path target = "../aim";
        bool counts = false;
    } rows[] = {
        {"root's in root's", 0, 0, 0755, "way/link", "../aim", true},
        {"absolute", 0, 0, 0755, "way/link", at("aim"), true},
        {"no link", 0, 1234, 0777, "way/real", "../aim", true},
        {"loop", 0, 0, 0755, "way/link", "link"},
        {"somebody's", 1234, 0, 0755},
        {"in somebody's", 0, 1234, 0755},
        {"the group can write", 0, 0, 0775},
        {"anybody can write", 0, 0, 01777},
        {"upwards from somebody's", 0, 1234, 0755, "way/real/../../aim"},
    };
    for (const auto &row : rows) {
        writeFile(at("aim/sub/file"), "");
        fs::create_directories(at("way/real/sub"));
        fs::create_symlink(row.target, at("way/link"));
        if (::lchown(at("way/link").c_str(), row.owner, row.owner) != 0)
            GTEST_SKIP() << "needs root: only it can make somebody else's links";
        ASSERT_EQ(::chown(at("way").c_str(), row.holder, row.holder), 0);
        ASSERT_EQ(::chmod(at("way").c_str(), static_cast<mode_t>(row.mode)), 0);
        std::optional<Directory> found;
        EXPECT_NE(refuses([&] { found = Directory::byLinksOfRoot(at(row.path)); }), row.counts) << row.what;
        EXPECT_EQ(found.has_value(), row.counts) << row.what;
        if (found) {
            EXPECT_THAT(found->names(), ElementsAre("sub"));
        }
        fs::remove_all(at("way"));
        fs::remove_all(at("aim"));
    }
    EXPECT_FALSE(Directory::byLinksOfRoot(at("none/sub")));
}

} // namespace
