#include "desktop-fixture.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

using namespace Validator;
namespace fs = std::filesystem;

namespace {

const std::string broken = "desktop-file-broken";
constexpr std::size_t megabyte = std::size_t(1) << 20;

TEST(HostileDesktop, IsReadOnlyAsARegularFileOfBoundedSize) {
    DesktopCheck pipe;
    ASSERT_EQ(::mkfifo(pipe.desktopFile().c_str(), 0600), 0);
    DesktopCheck directory;
    fs::create_directory(directory.desktopFile());
    DesktopCheck device;
    fs::create_symlink("/dev/zero", device.desktopFile());
    for (DesktopCheck *check : {&pipe, &directory, &device})
        EXPECT_EQ(check->offerDesktopFile(), broken);
}

// Some would take minutes if the work grew by the square of the size.
TEST(HostileDesktop, CannotFloodItsReader) {
    const std::string word(megabyte, 'A');
    const std::pair<std::string, std::string> rows[] = {
        {repeated("a=\n", 50'001), broken},
        {"a=" + word + word, broken},
        {"Intents=" + word, "intent-not-standard(" + word + ')'},
        {"[X-Velura-Capabilities]\nInput=" + std::string(100'000, ';'), "capability-value-invalid(,Input)"},
    };
    for (const auto &[lines, found] : rows)
        EXPECT_TRUE(DesktopCheck().validate(launchEntry + sandbox + lines + '\n') == found) << lines.size();

    // "aB" and "b!" have the same hash, and so have all strings of the same number of them.
    constexpr int pairs = 17;
    std::string text = launchEntry + sandbox;
    for (unsigned bits = 0; bits < 1U << pairs; ++bits) {
        for (int i = 0; i < pairs; ++i)
            text += (bits >> i & 1U) != 0 ? "aB" : "b!";
        text += "=\n";
    }
    EXPECT_EQ(DesktopCheck().validate(text), broken);
}

} // namespace
