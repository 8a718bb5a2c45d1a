#include "image/image-fixture.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace {

class ImageTest : public ImageFixture {};

TEST_F(ImageTest, CannotWriteToTheMachine) {
    for (const char *path :
         {"/proc/sys/kernel/hostname", "/sys/kernel/mm/transparent_hugepage/enabled", "/dev/kelp"})
        EXPECT_THROW(image().run("in_image sh -c 'true >>\"$0\"' " + std::string(path)), std::runtime_error)
            << path;
}

} // namespace
