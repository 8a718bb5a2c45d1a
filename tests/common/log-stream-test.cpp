#include "kelp/core/common/log-stream.h"

#include "support/captured-output.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <stdexcept>

namespace {

using Common::LogLevel;
using Common::LogStream;

TEST(LogStream, PrintsOneLinePerMessageWithThePrefixOfItsLevel) {
    CapturedOutput out;
    CapturedOutput error(CapturedOutput::Stream::Error);
    LogStream(LogLevel::Info) << "i " << 1;
    LogStream(LogLevel::Warning) << std::filesystem::path("/a \"b\"");
    LogStream(LogLevel::Error) << std::runtime_error("boom");
    LogStream(LogLevel::Event) << "two\nlines";
    LogStream(static_cast<LogLevel>(7)) << "stranger";
    EXPECT_EQ(out.take(), "[I] i 1\n[W] \"/a \\\"b\\\"\"\n[E] boom\ntwo\nlines\nstranger\n");
    EXPECT_EQ(error.take(), "");
}

TEST(LogStream, PrintsNothingForAnEmptyMessage) {
    CapturedOutput out;
    LogStream{LogLevel::Error};
    LogStream(LogLevel::Info) << "";
    EXPECT_EQ(out.take(), "");
}

} // namespace
