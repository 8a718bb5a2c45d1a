#include "desktop-fixture.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <algorithm>

using namespace Validator;
namespace fs = std::filesystem;

namespace {

const std::string broken = "desktop-file-broken";
constexpr std::size_t megabyte = std::size_t(1) << 20;

template<class Line>
std::string lines(std::size_t count, const Line &line) {
    std::string text;
    for (std::size_t i = 0; i < count; ++i)
        text += line(std::to_string(i));
    return text;
}

std::size_t findings(const std::string &text) {
    DesktopCheck check;
    std::string found = check.validate(text);
    found += check.finish();
    return found.empty() ? 0 : 1 + static_cast<std::size_t>(std::ranges::count(found, ' '));
}

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

// Each of these would take minutes if the work grew by the square of the size.
TEST(HostileDesktop, TakesTimeInProportionToItsSize) {
    const std::string sound = launchEntry + sandbox;
    const std::size_t many = 15'000;
    const std::size_t some = 2'000;
    const auto key = [](const std::string &i) { return "k" + i + "=\n"; };
    const auto group = [](const std::string &i) { return "[g" + i + "]\n"; };
    const auto permission = [](const std::string &i) { return "p" + i + "@x;"; };
    const std::string options = "[X-Velura-Application]\n";
    const std::pair<std::string, std::size_t> cases[] = {
        {sound + lines(many, key), many},
        {sound + lines(some, group), some},
        {with(sound, "Audio;Internet;", lines(some, permission)) +
             "[X-Task good]\nType=push\nPermissions=" + lines(some, permission) + "\n",
         0},
        {sound + options + repeated("Orientation=\n", some) + "Orientation=" + repeated("All;", some) + "\n",
         1},
        {sound + "Intents=" + std::string(megabyte, 'A') + "\n", 1},
        {sound + "Intents=Start:" + repeated("gui|", many) + "gui\n", 0},
        {sound + "[X-Velura-Capabilities]\nInput=" + std::string(100'000, ';') + "\n", 1},
    };
    for (const auto &[text, count] : cases)
        EXPECT_EQ(findings(text), count) << text.substr(text.size() - 40);
}

TEST(HostileDesktop, CannotFloodTheTablesOfItsReader) {
    const std::size_t tooMany = 50'001;
    EXPECT_EQ(DesktopCheck().validate(launchEntry + sandbox + repeated("a=\n", tooMany)), broken);
    EXPECT_EQ(DesktopCheck().validate(launchEntry + sandbox + "a=" + std::string(2 * megabyte, 'x')), broken);

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
