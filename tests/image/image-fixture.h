#pragma once

#include "image/image.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <optional>

/// A test that may have a system image of its own.
class ImageFixture : public testing::Test {
protected:
    void SetUp() override {
        if (geteuid() != 0)
            GTEST_SKIP() << "needs root: a system image is a mount namespace with an overlay";
    }

    const Image &image() const { return image_ ? *image_ : image_.emplace(); }

private:
    mutable std::optional<Image> image_; ///< Made for whoever asks.
};
