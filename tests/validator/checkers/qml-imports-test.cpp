#include "kelp/core/kelp/validator/qml/qml-imports.h"

#include "checker-fixture.h"
#include "support/text-file.h"

using namespace Validator;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

std::string notAllowed(const std::string &import) {
    return "qml-import-not-allowed(" + import + ")";
}

std::string unstable(const std::string &import) {
    return "qml-import-unstable(" + import + ")";
}

/// The files of one package, each with what it adds to the report and whether it fails.
class QmlImportsTest : public CheckerTest {
protected:
    void SetUp() override {
        list({"/usr/share/org.example.app/qml/components", "/usr/share/org.example.app/qml/pages/A.qml"});
        start();
    }

    void start() { checker_ = make<QmlImports>(); }

    Lines validate(const std::string &content,
                   const std::string &path = "/usr/share/org.example.app/qml/pages/A.qml") {
        const std::string realPath = unpack(content);
        return validateAt(path, realPath);
    }

    Lines validateAt(const std::string &path, const std::string &realPath) {
        logger_->clearError();
        return linesOf([&] { checker_->validate(path, realPath); });
    }

    std::shared_ptr<QmlImports> checker_;
};

TEST_F(QmlImportsTest, TakesQmlFiles) {
    for (const char *path : {".qml", "/a.qml", "/usr/share/x/A.qml"})
        EXPECT_TRUE(checker_->canValidate(path, "")) << path;
    for (const char *path : {"", "qml", "/a.qmlc", "/a.QML", "/a.qml/b"})
        EXPECT_FALSE(checker_->canValidate(path, "")) << path;
}

TEST_F(QmlImportsTest, HoldsTheImportsOfAFileAgainstTheLists) {
    const std::pair<const char *, Lines> cases[] = {
        {"import QtQuick 2.6;import Halyard.Vitrine 1.0\n", {}},
        {"import QtQuick", {notAllowed("QtQuick")}},
        {"import QtQuick 2.99", {notAllowed("QtQuick 2.99")}},
        {"import Unheard.Of 1.0", {}},
        {"import QtVideoChat 1.0", {unstable("QtVideoChat 1.0")}},
        {"import orgXkde.bluezqt", {notAllowed("orgXkde.bluezqt")}},
        {"import \"../components\"", {}},
        {"import \"../../../elsewhere\"", {}},
        {"import \"/usr/lib/foo\"", {"qml-import-absolute(\"/usr/lib/foo\")"}},
        {"import \"/usr/lib/foo\" 1.0", {}},
        {"import Halyard.X 1;import \"/a\";import QtVideoChat 1.0",
         {"qml-import-absolute(\"/a\")", notAllowed("Halyard.X 1"), unstable("QtVideoChat 1.0")}},
    };
    for (const auto &[content, lines] : cases) {
        start();
        EXPECT_EQ(validate(content), lines) << content;
        EXPECT_EQ(
            logger_->errorSeen(),
            std::ranges::any_of(
                lines, [](const std::string &line) { return !line.starts_with("qml-import-unstable"); }))
            << content;
    }
    profile_ = Profile::Extended;
    start();
    EXPECT_THAT(validate("import Halyard.Lipstick 1.1"), ElementsAre(unstable("Halyard.Lipstick 1.1")));
}

/// An import that is an error fails the files after it too, without another line.
TEST_F(QmlImportsTest, CarriesErrorsToTheFilesBehind) {
    const std::pair<const char *, bool> cases[] = {
        {"import Halyard.X 1.0", true},
        {"import QtVideoChat 1.0", false},
        {"import QtVideoChat 1.0;import QtWebEngine 1.0;import QtWebEngine 1.1;import Halyard.X 1.0", true},
        {"import Halyard.X 1.0;import QtVideoChat 1.0;import QtWebEngine 1.0;import \"/a\"", true},
    };
    for (const auto &[first, fails] : cases) {
        start();
        validate(first);
        EXPECT_EQ(logger_->errorSeen(), fails) << first;
        EXPECT_THAT(validate("import QtQuick 2.6"), IsEmpty());
        EXPECT_EQ(logger_->errorSeen(), fails) << first;
        EXPECT_THAT(validate("import Halyard.Other 1.0"), ElementsAre(notAllowed("Halyard.Other 1.0")));
        EXPECT_THAT(validateAt("/usr/share/a.qml", root_.path()), IsEmpty());
        EXPECT_TRUE(logger_->errorSeen()) << first;
    }
}

TEST_F(QmlImportsTest, AsksForTheTypeOfVitrineApplications) {
    const struct {
        std::string content;
        bool isVitrineApp;
        Lines lines;
    } cases[] = {
        {"import Halyard.Vitrine 1.0", false, {"application-type-vitrine-advised"}},
        {"import Halyard.Vitrine 1.0", true, {}},
        {"import Halyard.Vitrine.Pickers 1.0", false, {}},
    };
    for (const auto &c : cases) {
        start();
        logger_->setFlag(ValidatorFlag::VitrineApp, c.isVitrineApp);
        validate(c.content);
        validate("");
        EXPECT_EQ(linesOf([&] { checker_->finish(); }), c.lines) << c.content;
    }
}

TEST_F(QmlImportsTest, ReadsWhatIsNoFileOrHuge) {
    EXPECT_THAT(validateAt("/a.qml", "/dev/zero"), IsEmpty());
    EXPECT_THAT(validateAt("/a.qml", root_.path()), IsEmpty());
    EXPECT_THAT(validate(std::string(8 << 20, 'x')), IsEmpty());
    EXPECT_THAT(validate("import \"" + repeated("a/../", 1 << 20) + "\""), IsEmpty());
    EXPECT_THAT(validate("import Qt" + std::string(1 << 20, 't')),
                ElementsAre(notAllowed("Qt" + std::string(1 << 20, 't'))));
    EXPECT_THAT(validate(std::string("import A\0 1\n\xff\xfe{\nimport Halyard.X", 30)), IsEmpty());
}

} // namespace
