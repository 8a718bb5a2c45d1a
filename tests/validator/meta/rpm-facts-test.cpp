#include "kelp/core/kelp/validator/rpm-meta.h"

#include "kelp/core/kelp/validator/rpm-meta-checker.h"
#include "support/captured-output.h"
#include "support/error-matcher.h"
#include "support/temporary-directory.h"
#include "support/text-file.h"

using namespace Validator;

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

RpmMeta packaged(const std::string &name) {
    return RpmMeta(std::filesystem::path(KELP_RPMS) / (name + ".rpm"));
}

std::string reportOn(const std::string &name) {
    CapturedOutput report(CapturedOutput::Stream::Error);
    RpmMetaChecker(std::make_shared<Config>(Profile::Regular), packaged(name)).run();
    const std::string lines = report.take();
    return lines.substr(lines.find('\n') + 1); // without the one on the missing developer mode file
}

TEST(RpmFacts, AreThoseOfTheHeader) {
    const RpmMeta meta = packaged("sound");
    EXPECT_EQ(meta.name(), "org.example.sound");
    EXPECT_EQ(meta.version(), "1.2");
    EXPECT_EQ(meta.release(), "3");
    EXPECT_EQ(meta.vendor(), "");
    EXPECT_EQ(meta.architecture(), "noarch");
    EXPECT_FALSE(meta.hasScripts());
    EXPECT_THAT(meta.provides(), ElementsAre("mimehandler(text/plain)", "org.example.sound"));
    EXPECT_THAT(meta.conflicts(), IsEmpty());
    EXPECT_THAT(meta.obsoletes(), IsEmpty());
    EXPECT_THAT(meta.requirements(), ElementsAre("libQt5Core.so.5", "libQt5Core.so.5(Qt_5.6)", "libogg.so.0",
                                                 "odd()(64bit)", "qt5-qtwebengine"));
}

TEST(RpmFacts, HoldTheFileListWithDirectoriesAndLinks) {
    const RpmMeta meta = packaged("sound");
    EXPECT_THAT(meta.fileNames(),
                ElementsAre("/usr/bin/org.example.sound", "/usr/share/org.example.sound",
                            "/usr/share/org.example.sound/data", "/usr/share/org.example.sound/data/words",
                            "/usr/share/org.example.sound/link"));
    const FileInfo &link = meta.files().at(4);
    EXPECT_EQ(link.mode, 0120777);
    EXPECT_EQ(link.linkTarget, "data/words");
    EXPECT_EQ(meta.files().at(0).mode, 0100755);

    const FileInfo &file = packaged("unsound").files().at(3);
    EXPECT_EQ(file.user + ' ' + file.group, "daemon mail") << file.path;
}

TEST(RpmFacts, CannotBeReadFromOtherFiles) {
    const TemporaryDirectory directory;
    writeFile(directory.path() / "text", "this is no package");
    CapturedOutput complaints(CapturedOutput::Stream::Error);
    EXPECT_THAT([&] { RpmMeta(directory.path() / "missing"); },
                raises(Common::ErrorCode::FileNotFound, "Couldn't open rpm package"));
    EXPECT_THAT([&] { RpmMeta(directory.path() / "text"); },
                raises(Common::ErrorCode::BadPackageFileFormat, "Couldn't read rpm package"));
}

TEST(RpmMetaChecker, ReportsOnPackagesAsTheyAreBuilt) {
    const TemporaryRoot root;
    EXPECT_EQ(reportOn("sound"),
              "(ERROR)\t\t[odd()(64bit)] Dependency is not allowed\n"
              "(WARNING)\t[qt5-qtwebengine] Dependency is unstable or deprecated\n"
              "(INFO)\t\t[/usr/share/org.example.sound/link] Beware that symbolic links are only allowed for "
              "exclusive paths\n");
    EXPECT_EQ(reportOn("unsound"),
              "(ERROR)\t\tPackage name should follow reverse domain notation (e.g. \"org.example.app\")\n"
              "(ERROR)\t\t[vendor] Vendor is set to Somebody. Setting a vendor in RPM is not allowed\n"
              "(ERROR)\t\t[other] Provides: other is not allowed in RPM\n"
              "(ERROR)\t\t[rival] Conflicts: rival is not allowed in RPM\n"
              "(ERROR)\t\t[former] Obsoletes: former is not allowed in RPM\n"
              "(ERROR)\t\t[(bash if perl)] Dependency is not allowed\n"
              "(CRITICAL)\t[scripts] Script sections are not allowed in RPM\n"
              "(ERROR)\t\t[/dev/unsound] Failed to read file attributes\n"
              "(ERROR)\t\t[/etc/.unsound.swp] Installation not allowed in this location: forbidden file "
              "extension\n"
              "(INFO)\t\t[/etc/link] Beware that symbolic links are only allowed for exclusive paths\n"
              "(ERROR)\t\t[/etc/link] Symbolic link is targeting to not allowed path for it: elsewhere\n"
              "(ERROR)\t\t[/etc/unsound.conf] Found setuid, setgid or sticky bit set\n"
              "(ERROR)\t\t[/etc/unsound.conf] File must not be executable\n"
              "(ERROR)\t\t[/etc/unsound.conf] User owner should be root\n"
              "(ERROR)\t\t[/etc/unsound.conf] Group owner should be root\n"
              "(ERROR)\t\t[/etc/unsound.d] Group or World writable directory\n"
              "(WARNING)\t[/etc/unsound.d] Empty directory (can be omitted during package installation)\n");
}

} // namespace
