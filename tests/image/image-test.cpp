#include "image/image-fixture.h"

#include <gmock/gmock.h>

#include <stdexcept>

using testing::HasSubstr;

namespace {

class ImageTest : public ImageFixture {};

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
