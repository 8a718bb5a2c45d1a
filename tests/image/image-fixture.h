#pragma once

#include "image/image.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <optional>

/// A test with a system image of its own.
class ImageFixture : public testing::Test {
protected:
    void SetUp() override {
        if (geteuid() != 0)
            GTEST_SKIP() << "needs root: a system image is a mount namespace with an overlay";
        image_.emplace();
    }

    const Image &image() const { return *image_; }

private:
    std::optional<Image> image_;
};
