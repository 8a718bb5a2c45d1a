#include "image/image-fixture.h"

#include "support/text-file.h"

#include <gmock/gmock.h>

#include <sys/xattr.h>

#include <stdexcept>

namespace fs = std::filesystem;
using testing::HasSubstr;

namespace {

class ImageTest : public ImageFixture {};

TEST_F(ImageTest, HasAnEmptyRpmDatabaseAndNoPackageStore) {
    EXPECT_EQ(image().run("in_image rpm --query --all"), "");
    EXPECT_FALSE(fs::exists(image().root() / "opt/app"));
}

TEST_F(ImageTest, SharesItsFilesWithTheTest) {
    image().run("echo text | put_file /opt/kelp-image-test/file && setfattr -n user.a -v b "
                "$IMAGE/opt/kelp-image-test/file");
    const fs::path file = image().root() / "opt/kelp-image-test/file";
    EXPECT_EQ(readFile(file), "text\n");
    char value = 0;
    EXPECT_EQ(::getxattr(file.c_str(), "user.a", &value, 1), 1);
    EXPECT_EQ(value, 'b');
    EXPECT_FALSE(fs::exists("/opt/kelp-image-test"));
}

TEST_F(ImageTest, IsApartFromOtherImages) {
    const Image other;
    image().run("echo one | put_file /etc/kelp-image-test");
    EXPECT_FALSE(fs::exists(other.root() / "etc/kelp-image-test"));
}

TEST_F(ImageTest, TellsWhatAFailedCommandWrote) {
    EXPECT_THAT(
        [this] { image().run("echo why >&2; false"); },
        testing::ThrowsMessage<std::runtime_error>(HasSubstr("status 1: echo why >&2; false\nwhy\n")));
}

TEST_F(ImageTest, CannotWriteToTheMachine) {
    for (const char *path :
         {"/proc/sys/kernel/hostname", "/sys/kernel/mm/transparent_hugepage/enabled", "/dev/kelp"})
        EXPECT_THROW(image().run("in_image sh -c 'true >>\"$0\"' " + std::string(path)), std::runtime_error)
            << path;
}

} // namespace
