#include "kelp/core/kelp/validator/data/integrityd.h"

#include "support/temporary-directory.h"
#include "support/text-file.h"

#include <glib.h>
#include <gtest/gtest.h>

using namespace Validator;

namespace {

using Files = std::vector<std::string>;

class IntegrityFileTest : public testing::Test {
protected:
    // A complaint of the library about its use ends the test program.
    void SetUp() override { g_log_set_always_fatal(G_LOG_LEVEL_CRITICAL); }

    std::optional<Files> read(const std::string &text) {
        writeFile(directory_.path() / "file.json", text);
        return readWatchedFiles(directory_.path() / "file.json");
    }

    TemporaryDirectory directory_;
};

TEST_F(IntegrityFileTest, GivesTheWatchedFiles) {
    const std::pair<const char *, Files> cases[] = {
        {"{\"watch\": []}", {}},
        {"{\"watch\": [\"file:elf:/a\", \"FILE:/b\", \"file:\"]}", {"elf:/a", "FILE:/b", ""}},
        {"{\"watch\": [\"/a\", 1, null, true, 1.5, [\"/b\"], {}]}", {"/a", "", "", "", "", "", ""}},
        {"{\"other\": {\"watch\": [\"/a\"]}}", {}},
        {"\xef\xbb\xbf/* first */ {\"watch\": [\"/\\u00e4\"]}", {"/\xc3\xa4"}},
        {"{'watch': ['/a\\', '/b\t[']}", {"/a\\", "/b\t["}},
        {"{\"watch\": [\"/a\tb\"]}/[/", {"/a\tb"}},
        {"{\"watch\": [\"/a\"]} {} [1]", {"/a"}},
        {"var a = {\"watch\": [\"/a\"]}; var b = {};", {"/a"}},
    };
    for (const auto &[text, files] : cases)
        EXPECT_EQ(read(text), files) << text;
    for (const char *text :
         {"{} 1", "{} {'watch'", "{}\xef\xbb\xbf", "", " ", "no JSON", "{\"watch\": [\"/a\"]", "[\"/a\"]",
          "\"/a\"", "null", "{\"watch\": \"/a\"}", "{\"watch\": 1}", "{\"watch\": null}",
          "{\"watch\": {\"0\": \"/a\"}}", "{\"watch\": [\"\xff\"]}",
          "\x7f"
          "ELF"})
        EXPECT_EQ(read(text), std::nullopt) << text;
    EXPECT_EQ(readWatchedFiles(directory_.path()), std::nullopt);
}

TEST_F(IntegrityFileTest, SurvivesWhatIsHuge) {
    EXPECT_EQ(read(repeated("[", 10'000) + repeated("]", 10'000)), std::nullopt);
    EXPECT_EQ(read(repeated("{\"watch\":", 10'000) + "1" + repeated("}", 10'000)), std::nullopt);
    EXPECT_EQ(read(repeated("{}", 10'000)), std::nullopt);
    std::string large = "{\"watch\":[]}";
    large.resize(std::size_t(4) << 20, ' ');
    EXPECT_EQ(read(large), Files{});
    EXPECT_EQ(read(large + ' '), std::nullopt);
    EXPECT_EQ(read("{\"watch\":[" + repeated("\"/a\",", 100'000) + "\"/a\"]}")->size(), 100'001u);
}

} // namespace
