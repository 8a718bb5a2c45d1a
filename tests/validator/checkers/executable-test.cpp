#include "kelp/core/kelp/validator/program/executable.h"

#include "checker-fixture.h"
#include "kelp/core/kelp/validator/program/library-places.h"
#include "support/text-file.h"
#include "validator/content/elf-image.h"

using namespace Validator;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

namespace {

namespace fs = std::filesystem;
using Flag = ValidatorFlag;
using Dynamic = std::vector<std::pair<std::uint64_t, std::string>>;

constexpr const char *mainBinary = "/usr/bin/org.example.app";

class ExecutableTest : public CheckerTest {
protected:
    Lines validate(const std::string &path, const std::string &content, bool isExecutable = true) {
        const auto checker = make<Executable>();
        const std::string realPath = unpack(content, isExecutable);
        return linesOf([&] { checker->validate(path, realPath); });
    }
};

std::string image(const std::string &rodata, ElfImage::Order order = ElfImage::Order::Little) {
    ElfImage image(ElfImage::Bits::Bits64, order);
    image.add({".rodata", SHT_PROGBITS, rodata});
    return image.bytes();
}

std::string dynamicImage(const Dynamic &entries) {
    ElfImage image;
    image.addDynamic(entries);
    return image.bytes();
}

TEST_F(ExecutableTest, TakesTheMainBinaryAndWhatItsOwnerMayExecute) {
    const auto checker = make<Executable>();
    const std::string plain = unpack("text", false);
    EXPECT_TRUE(checker->canValidate(mainBinary, plain));
    EXPECT_TRUE(checker->canValidate(mainBinary, "/absent"));
    EXPECT_FALSE(checker->canValidate("/usr/bin/org.example.app2", plain));
    EXPECT_FALSE(checker->canValidate("/usr/share/a", root_.path()));
    fs::permissions(plain, fs::perms(0655));
    EXPECT_FALSE(checker->canValidate("/usr/share/a", plain));
    fs::permissions(plain, fs::perms(0100));
    EXPECT_TRUE(checker->canValidate("/usr/share/a", plain));
}

TEST_F(ExecutableTest, JudgesTheFormatAndThePlaceOfAFile) {
    const std::string sound = ElfImage().bytes();
    const Lines badFormat{"executable-format(/usr/bin/org.example.app)"};
    const std::string share = "/usr/share/org.example.app/tool";
    const struct {
        const char *what;
        std::string path;
        std::string content;
        Lines lines;
    } cases[] = {
        {"a name that begins with the main binary's", mainBinary + std::string("-helper"), sound, {}},
        {"another's libexec",
         "/usr/libexec/org.example.app2/tool",
         sound,
         {"executable-location(/usr/libexec/org.example.app2/tool)"}},
        {"libexec itself",
         "/usr/libexec/org.example.app",
         sound,
         {"executable-location(/usr/libexec/org.example.app)"}},
        {"a third party library", "/usr/lib/3rdparty/org.example.app/liba.so.1", sound, {}},
        {"a program among the data", share, sound, {"executable-location(" + share + ")"}},
        {"a script", mainBinary, "#!/bin/sh\n", badFormat},
        {"big endian", mainBinary, image("", ElfImage::Order::Big), badFormat},
    };
    for (const auto &c : cases)
        EXPECT_EQ(validate(c.path, c.content), c.lines) << c.what;
    EXPECT_THAT(validate(share, sound, false), IsEmpty());

    facts_.architecture = "noarch";
    EXPECT_THAT(validate(mainBinary, sound), ElementsAre("noarch-with-programs"));
}

TEST_F(ExecutableTest, FindsImportsWithinBinaries) {
    EXPECT_THAT(
        validate(mainBinary, image("\1import Halyard.Vitrine 1.0\nimport Foo 1.0\nimport Bar 2.0 as B\n"
                                   "import Foo 1.0\nimport Bar 2\nimport Last 1.0")),
        UnorderedElementsAre("qml-import-embedded(Foo 1.0)", "qml-import-embedded(Bar 2.0)"));
    EXPECT_TRUE(logger_->getFlag(Flag::ImportsVitrine));
    EXPECT_THAT(validate(mainBinary, image("import Halyard.Vitrine 1.0")), IsEmpty());
    EXPECT_FALSE(logger_->getFlag(Flag::ImportsVitrine));
}

TEST_F(ExecutableTest, HoldsTheNeededLibrariesAgainstTheLists) {
    const auto needed = [](const std::vector<std::string> &names) {
        Dynamic entries{{DT_SONAME, "libown.so"}};
        for (const std::string &name : names)
            entries.emplace_back(DT_NEEDED, name);
        return dynamicImage(entries);
    };
    list({"/usr/share/org.example.app/lib/libown.so", "/usr/share/org.example.app/lib/libpng15.so.15"});
    const struct {
        std::vector<std::string> needed;
        Lines lines;
        bool isShipped;
    } cases[] = {
        {{"ld-linux-aarch64.so.1", "libQt5Core.so.5"}, {}, false},
        {{"libown.so"}, {}, true},
        {{"libpng15.so.15"}, {"library-unstable(libpng15.so.15)"}, false},
        {{"z.so", "libwebrtc.so.104.0.0", "a.so", "z.so", "libown.so", "libQmfClient.so.5"},
         {"library-unstable(libwebrtc.so.104.0.0)", "library-unstable(libQmfClient.so.5)",
          "library-not-allowed(a.so)", "library-not-allowed(z.so)"},
         true},
        {{"../lib/libown.so", ""}, {"library-not-allowed()", "library-not-allowed(../lib/libown.so)"}, false},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(validate(mainBinary, needed(c.needed)), c.lines) << c.needed.front();
        EXPECT_EQ(logger_->getFlag(Flag::ShippedLibraryUsed), c.isShipped) << c.needed.front();
    }
    EXPECT_THAT(validate("/usr/libexec/org.example.app/tool", needed({"z.so"})), IsEmpty());
    // From the first on, the logger holds no finding against those before.
    logger_ = std::make_shared<Logger>(findings_.sink(), 1);
    Executable checker(std::make_shared<RpmMeta>(facts_), config(), logger_);
    const std::string path = unpack(needed({"a.so", "b.so", "b.so"}), true);
    EXPECT_EQ(linesOf([&] { checker.validate(mainBinary, path); }).size(), 2U);
}

TEST_F(ExecutableTest, FindsALibraryThatThePackageShips) {
    const auto isFoundIn = [&](const std::string &directory) {
        facts_.files.clear();
        list({directory + "libx.so.1"});
        return validate(mainBinary, dynamicImage({{DT_NEEDED, "libx.so.1"}})).empty();
    };
    for (const char *directory :
         {"/usr/share/org.example.app/libs/qmlplugins/", "/usr/lib/3rdparty/org.example.app/",
          "/usr/lib/3rdparty/org.example.app/lib/qmlplugins/"})
        EXPECT_TRUE(isFoundIn(directory)) << directory;
    for (const char *directory : {"/usr/lib/3rdparty/org.example.app/libs/", "/usr/share/org.example.app/",
                                  "/usr/share/org.example.other/lib/"})
        EXPECT_FALSE(isFoundIn(directory)) << directory;
}

TEST(RpathRule, AllowsThePlacesOfLibraries) {
    for (const char *rpath :
         {"", " ", ":", "/usr/lib64:", " /usr/lib\t: :/usr/lib64/", "$ORIGIN/../share/app/lib",
          "/usr/share/app/lib/x:/usr/share/app/libs", "/usr/lib/3rdparty/app/any", "/usr/lib/../../etc"})
        EXPECT_TRUE(isAllowedRpath(rpath, "app")) << rpath;
    for (const char *rpath : {"/usr/libfoo", "/usr/lib64x", "/usr/share/app", "/usr/share/app2/lib", "/usr",
                              "$ORIGIN", "$ORIGIN/../share/app/libs", "/usr/lib:/opt", "x /usr/lib"})
        EXPECT_FALSE(isAllowedRpath(rpath, "app")) << rpath;
}

TEST_F(ExecutableTest, FinishesWithTheRulesOnTheWholePackage) {
    const std::string start = "__libc_start_main";
    const Dynamic rpath{{DT_RPATH, "/usr/lib64:"}};
    list({"/usr/share/org.example.app/lib/libown.so"});
    const struct {
        std::vector<std::string> symbols;
        Dynamic dynamic;
        Lines lines;
        const char *rodata = "";
    } cases[] = {
        {{start, "main"}, rpath, {}},
        {{start, "main"}, {{DT_RPATH, "  "}}, {}},
        {{start, "main"}, {{DT_RPATH, "/opt"}}, {"rpath-not-allowed"}},
        {{start, "main"}, {{DT_RUNPATH, "/opt"}}, {"rpath-empty"}},
        {{start, "main"}, {{DT_NEEDED, "libown.so"}}, {"rpath-empty", "rpath-missing"}},
        {{"main"}, rpath, {"libc-start-main-missing"}},
        {{start}, rpath, {"main-not-exported"}, "import Halyard.Vitrine 1.0\n"},
        {{start, "_main"}, rpath, {"main-not-exported"}},
        {{start, "_main"}, rpath, {"main-must-be-exported"}, "import Halyard.Vitrine 1.0\n"},
        {{start, ""}, rpath, {"main-must-be-exported"}, "import Halyard.Vitrine 1.0\n"},
    };
    for (const auto &c : cases) {
        ElfImage image;
        image.addSymbols(c.symbols, SHT_DYNSYM);
        image.addDynamic(c.dynamic);
        image.add({".rodata", SHT_PROGBITS, c.rodata});
        const auto checker = make<Executable>();
        checker->validate(mainBinary, unpack(image.bytes(), true));
        EXPECT_EQ(linesOf([&] { checker->finish(); }), c.lines) << &c - cases;
    }
    const auto finish = [&](const std::vector<Flag> &flags) {
        const auto checker = make<Executable>();
        for (const Flag flag : flags)
            logger_->setFlag(flag, true);
        return linesOf([&] { checker->finish(); });
    };
    EXPECT_THAT(finish({}), ElementsAre("main-binary-missing", "main-binary-not-executable", "rpath-empty"));
    EXPECT_EQ(finish({Flag::QmlOnlyApp}), Lines());
    EXPECT_EQ(finish({Flag::QmlOnlyApp, Flag::MainBinarySeen, Flag::LibcStartMainSeen, Flag::MainSymbolSeen}),
              Lines{"main-binary-forbidden"});
    EXPECT_EQ(finish({Flag::MainBinarySeen, Flag::LibcStartMainSeen, Flag::MainSymbolSeen}),
              (Lines{"main-binary-not-executable", "rpath-empty"}));
    profile_ = Profile::Pwa;
    EXPECT_EQ(finish({}), Lines());
}

} // namespace
