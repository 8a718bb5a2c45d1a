#include "kelp/core/common/errors/log-stream.h"

#include "support/captured-output.h"
#include "support/scoped-environment.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

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
    LogStream{LogLevel::Error};
    LogStream(LogLevel::Info) << "";
    EXPECT_EQ(out.take(), "[I] i 1\n[W] \"/a \\\"b\\\"\"\n[E] boom\ntwo\nlines\nstranger\n");
    EXPECT_EQ(error.take(), "");
}

TEST(LogStream, TellsTheJournalTheLevelOfEachLine) {
    CapturedOutput out;
    struct stat output {};
    ASSERT_EQ(::fstat(1, &output), 0);
    const std::string device = std::to_string(output.st_dev) + ":";
    {
        const ScopedEnvironment journal("JOURNAL_STREAM", device + std::to_string(output.st_ino));
        LogStream(LogLevel::Error) << "two\n<0>lines";
        LogStream(LogLevel::Warning) << "w";
        LogStream(LogLevel::Info) << "i";
        EXPECT_EQ(out.take(), "<3>[E] two\n<3><0>lines\n<4>[W] w\n<6>[I] i\n");
    }
    const ScopedEnvironment other("JOURNAL_STREAM", device + "1");
    LogStream(LogLevel::Error) << "redirected";
    EXPECT_EQ(out.take(), "[E] redirected\n");
}

} // namespace
