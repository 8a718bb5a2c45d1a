#include "kelp/core/kelp/validator/content-validator.h"

#include "support/captured-output.h"
#include "support/temporary-directory.h"
#include "support/text-file.h"
#include "validator/content/elf-image.h"

#include <gtest/gtest.h>

using namespace Validator;

namespace {

namespace fs = std::filesystem;

const std::string desktopPath = "/usr/share/applications/org.example.app.desktop";
const std::string desktopFile = "[Desktop Entry]\nType=Application\nName=Example\nIcon=org.example.app\n"
                                "Exec=halyard-qml org.example.app\n"
                                "X-Pelago-Application-Type=vitrine-qt5\n"
                                "[X-Application]\nOrganizationName=org.example\nApplicationName=app\n"
                                "Permissions=Audio\n";

const std::string qmlOnly = "(INFO)\t\t[desktop] Application is a QML-only app\n";

const std::string elf = ElfImage().bytes();

std::string hardcoded(const std::string &path) {
    return "(ERROR)\t\t[" + path + "] Hardcoded path found\n";
}

/// One package that is unpacked and judged file by file.
class ContentValidatorTest : public testing::Test {
protected:
    ContentValidatorTest() {
        facts_.name = "org.example.app";
        facts_.architecture = "noarch";
        facts_.requirements = {"libhalyardapp-launcher"};
        setValidation("true");
    }

    void setValidation(const std::string &value) {
        writeFile(root_.path() / "var/lib/developer-moded/developer-moded.conf",
                  "[developermode]\nvalidationEnabled=" + value + '\n');
    }

    /// Begins the stage for the package as it is now.
    void begin(Profile profile) {
        validator_ = std::make_unique<ContentValidator>(std::make_shared<Config>(profile), RpmMeta(facts_));
        validator_->setInstallRoot(tree());
    }

    std::string tree() const { return root_.path() / "tree"; }

    /// The report on a file with this content.
    std::string validate(const std::string &path, const std::string &content, bool isExecutable = false) {
        const fs::path real = tree() + path;
        writeFile(real, content);
        fs::permissions(real, isExecutable ? fs::perms(0755) : fs::perms(0644));
        CapturedOutput report(CapturedOutput::Stream::Error);
        hasFailed_ = validator_->validateFile(path, real);
        return report.take();
    }

    std::string finish() {
        CapturedOutput report(CapturedOutput::Stream::Error);
        hasFailed_ = validator_->finishContent();
        return report.take();
    }

    RpmFacts facts_;
    TemporaryRoot root_;
    std::unique_ptr<ContentValidator> validator_;
    bool hasFailed_ = false; ///< The last verdict.
};

TEST_F(ContentValidatorTest, FailsTheFileThatHasTheErrorAndNoOther) {
    begin(Profile::Extended);
    const std::string path = "/usr/share/org.example.app/data";
    EXPECT_EQ(validate(path, "x"), "");
    EXPECT_FALSE(hasFailed_);
    EXPECT_EQ(validate(path, "/home/defaultuser"), hardcoded(path));
    EXPECT_TRUE(hasFailed_);
    EXPECT_EQ(validate(path, "x"), "");
    EXPECT_FALSE(hasFailed_);
    EXPECT_EQ(validate(path, "/home/defaultuser"), "") << "was reported";
    EXPECT_TRUE(hasFailed_);
    EXPECT_EQ(finish(), "(WARNING)\tDesktop file is missing, no validation for fencebox section\n"
                        "(ERROR)\t\t[binary] Main binary must exist, but it is not found\n"
                        "(ERROR)\t\t[binary] Main binary must be an executable\n"
                        "(WARNING)\t[rpath] The rpath in binary is empty\n");
    EXPECT_TRUE(hasFailed_);
}

TEST_F(ContentValidatorTest, WantsQmlOnlyPackagesToBeOfNoArchitecture) {
    struct Case {
        const char *architecture;
        bool hasProgram;
        std::string complaint;
    };
    const std::string complaint = "(WARNING)\t[arch] QML-only RPMs should be noarch\n";
    const Case cases[] = {
        {"noarch", false, ""}, {"aarch64", false, complaint}, {"", false, complaint}, {"aarch64", true, ""}};
    for (const Case &c : cases) {
        facts_.architecture = c.architecture;
        begin(Profile::Extended);
        EXPECT_EQ(validate(desktopPath, desktopFile), qmlOnly);
        EXPECT_FALSE(hasFailed_);
        if (c.hasProgram)
            validate("/usr/libexec/org.example.app/helper", elf, true);
        EXPECT_EQ(finish(), c.complaint);
        EXPECT_FALSE(hasFailed_);
    }
}

} // namespace
