#include "kelp/core/kelp/validator/content-validator.h"

#include "support/no-more-files.h"
#include "validator/checkers/checker-fixture.h"
#include "validator/content/elf-image.h"

using namespace Validator;

namespace {

const std::string desktopPath = "/usr/share/applications/org.example.app.desktop";
const std::string desktopFile = "[Desktop Entry]\nType=Application\nName=Example\nIcon=org.example.app\n"
                                "Exec=halyard-qml org.example.app\n"
                                "X-Pelago-Application-Type=vitrine-qt5\n"
                                "[X-Application]\nOrganizationName=org.example\nApplicationName=app\n"
                                "Permissions=Audio\n";

/// One package that is unpacked and judged file by file.
class ContentValidatorTest : public CheckerTest {
protected:
    ContentValidatorTest() { facts_.requirements = {"libhalyardapp-launcher"}; }

    /// Begins the stage for the package as it is now.
    void begin(Profile profile = Profile::Extended) {
        profile_ = profile;
        validator_ = std::make_unique<ContentValidator>(config(), RpmMeta(facts_), findings_.sink());
        validator_->setInstallRoot(root_.path());
    }

    /// The report on a file with this content.
    Lines validate(const std::string &path, const std::string &content, bool isExecutable = false) {
        const std::string real = unpack(content, isExecutable, path.substr(1));
        return linesOf([&] { hasFailed_ = validator_->validateFile(path, real); });
    }

    Lines finish() {
        return linesOf([&] { hasFailed_ = validator_->finishContent(); });
    }

    std::unique_ptr<ContentValidator> validator_;
    bool hasFailed_ = false; ///< The last verdict.
};

TEST_F(ContentValidatorTest, FailsTheFileThatHasTheErrorAndNoOther) {
    begin();
    const std::string path = "/usr/share/org.example.app/data";
    const struct {
        const char *content;
        Lines lines;
        bool fails;
    } files[] = {{"x", {}, false},
                 {"/home/defaultuser", {"hardcoded-path(" + path + ")"}, true},
                 {"x", {}, false},
                 {"/home/defaultuser", {}, true}}; // It was reported.
    for (const auto &file : files) {
        EXPECT_EQ(validate(path, file.content), file.lines);
        EXPECT_EQ(hasFailed_, file.fails);
    }
    EXPECT_THAT(finish(), testing::Contains("main-binary-missing"));
    EXPECT_TRUE(hasFailed_);
}

TEST_F(ContentValidatorTest, WantsQmlOnlyPackagesToBeOfNoArchitecture) {
    const Lines complaint{"qml-only-not-noarch"};
    const std::tuple<const char *, bool, Lines> cases[] = {
        {"noarch", false, {}}, {"aarch64", false, complaint}, {"", false, complaint}, {"aarch64", true, {}}};
    for (const auto &[architecture, hasProgram, lines] : cases) {
        facts_.architecture = architecture;
        begin();
        EXPECT_EQ(validate(desktopPath, desktopFile), Lines{"desktop-qml-only"});
        EXPECT_FALSE(hasFailed_);
        if (hasProgram)
            validate("/usr/libexec/org.example.app/helper", ElfImage().bytes(), true);
        EXPECT_EQ(finish(), lines) << architecture;
        EXPECT_FALSE(hasFailed_);
    }
}

/// Whether an error of the system comes up that names this file.
template<class Judge>
bool isRaised(const std::string &file, const Judge &judge) {
    try {
        judge();
    } catch (const std::system_error &error) {
        return std::string(error.what()).find(file) != std::string::npos;
    }
    return false;
}

/// The machine's failures are no fault of the file, and no reason to let it pass.
TEST_F(ContentValidatorTest, SaysNothingOfAFileThatCannotBeLookedInto) {
    const std::string share = "/usr/share/org.example.app/";
    const std::pair<std::string, std::string> files[] = {
        {desktopPath, desktopFile},
        {"/usr/bin/org.example.app", ElfImage().bytes()},
        {"/usr/libexec/org.example.app/helper", ElfImage().bytes()},
        {share + "a.qml", "import Halyard.X 1.0"},
        {share + "data", "x"},
        {share + "managed-configuration/a.json", "{}"},
        {"/usr/share/icons/hicolor/86x86/apps/org.example.app.png", "x"},
        {"/etc/integrityd/config.d/org.example.app.json", "{"},
        {"/manifest.json", "{"},
    };
    for (const auto &[path, content] : files)
        for (const bool isThere : {true, false}) {
            begin(Profile::Regular);
            const std::string real = unpack(content, false, path.substr(1));
            if (!isThere)
                std::filesystem::remove(real);
            const auto lines = linesOf([&] {
                std::optional<NoMoreFiles> limit;
                if (isThere)
                    limit.emplace();
                const bool raised = isRaised(real, [&] { validator_->validateFile(path, real); });
                limit.reset();
                EXPECT_TRUE(raised) << path << isThere;
            });
            EXPECT_EQ(lines, Lines()) << path << isThere;
        }
}

} // namespace
