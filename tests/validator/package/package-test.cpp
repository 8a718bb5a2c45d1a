// Whole packages under whole profiles: the report of each is held against reports/PACKAGE-PROFILE.txt, line
// by line. A change that was reviewed is accepted by running this program with KELP_ACCEPT_REPORTS=1.

#include "kelp/core/common/rpm/extract-file-iterator.h"
#include "kelp/core/kelp/validator/content-validator.h"
#include "kelp/core/kelp/validator/rpm-meta-checker.h"

#include "support/captured-output.h"
#include "support/temporary-directory.h"
#include "support/text-file.h"

#include <boost/algorithm/string/split.hpp>
#include <gmock/gmock.h>

#include <algorithm>
#include <cstdlib>

namespace {

namespace fs = std::filesystem;
using namespace Validator;
using Common::Rpm::Directory;
using Common::Rpm::ExtractFileIterator;
using Common::Rpm::PackedFile;
using Common::Rpm::Symlink;

/// Puts one entry of a package that means no harm below `tree`. False for a link.
bool unpack(const ExtractFileIterator::Entry &entry, const fs::path &place) {
    fs::create_directories(place.parent_path());
    if (const auto *file = std::get_if<PackedFile>(&entry.kind)) {
        file->writeTo(place);
        fs::permissions(place, file->permissions);
        return true;
    }
    if (const auto *link = std::get_if<Symlink>(&entry.kind))
        fs::create_symlink(link->target, place);
    else if (std::holds_alternative<Directory>(entry.kind))
        return fs::create_directories(place), true;
    return false;
}

std::vector<std::string> linesOf(const std::string &text) {
    std::vector<std::string> lines;
    boost::algorithm::split(lines, text, [](char c) { return c == '\n'; });
    return lines;
}

/// The lines that only one of two reports has, "-" or "+" before each.
std::string difference(const std::string &before, const std::string &after) {
    const auto missing = [](const std::string &mark, const std::string &from, const std::string &in) {
        const std::vector<std::string> known = linesOf(in);
        std::string text;
        for (const std::string &line : linesOf(from))
            if (std::ranges::find(known, line) == known.end())
                text += mark + line + "\n";
        return text;
    };
    return missing("-", before, after) + missing("+", after, before);
}

struct Judgement {
    std::string report;
    std::string verdicts; ///< "meta", "file" and "whole" for each stage that failed.
};

class PackageTest : public testing::Test {
protected:
    PackageTest() {
        writeFile(root.path() / "etc/os-release", "VERSION_ID=5.0\n");
        setValidation("true");
    }

    void setValidation(const std::string &value) {
        writeFile(root.path() / "var/lib/developer-moded/developer-moded.conf",
                  "[developermode]\nvalidationEnabled=" + value + "\n");
    }

    /// Takes a package through both stages, whatever each of them says.
    Judgement judge(const std::string &name, const std::string &profile) {
        const fs::path package = fs::path(KELP_RPMS) / (name + ".rpm");
        const TemporaryDirectory tree;
        CapturedOutput log;
        CapturedOutput report(CapturedOutput::Stream::Error);
        const RpmMeta meta(package);
        const auto config = std::make_shared<Config>(profileFromName(profile));
        Judgement judgement;
        if (RpmMetaChecker(config, meta).validateMeta())
            judgement.verdicts += "meta ";
        ContentValidator validator(config, meta);
        validator.setInstallRoot(tree.path());
        bool failed = false;
        ExtractFileIterator(package).forEach([&](const ExtractFileIterator::Entry &entry) {
            const fs::path place = tree.path() / entry.path.relative_path();
            if (unpack(entry, place))
                failed = validator.validateFile(entry.path, place) || failed;
            return false;
        });
        judgement.verdicts += failed ? "file " : "";
        judgement.verdicts += validator.finishContent() ? "whole " : "";
        judgement.report = report.take();
        return judgement;
    }

    static void expectReport(const std::string &name, const std::string &profile, const std::string &report) {
        const fs::path file = fs::path(KELP_REPORTS) / (name + "-" + profile + ".txt");
        if (std::getenv("KELP_ACCEPT_REPORTS"))
            writeFile(file, report);
        EXPECT_EQ(report, readFile(file)) << file;
    }

    TemporaryRoot root;
};

TEST_F(PackageTest, ReportsReadAsTheyWereReviewed) {
    const std::pair<const char *, std::vector<const char *>> packages[] = {
        {"sound", {"regular", "mdm"}},
        {"faulty", {"regular", "extended", "mdm", "auth", "antivirus", "pwa"}},
        {"broken", {"regular", "extended"}},
        {"lacking", {"regular", "auth"}},
        {"plain", {"regular"}},
        {"runner", {"regular", "pwa"}},
    };
    for (const auto &[name, profiles] : packages) {
        std::string first;
        for (const char *profile : profiles) {
            const std::string report = judge(name, profile).report;
            const bool isFirst = profile == profiles.front();
            expectReport(name, profile, isFirst ? report : difference(first, report));
            if (isFirst)
                first = report;
        }
    }
}

TEST_F(PackageTest, VerdictsFollowTheLevelsAndTheDeveloperMode) {
    EXPECT_EQ(judge("sound", "regular").verdicts, "");
    EXPECT_EQ(judge("faulty", "regular").verdicts, "meta file whole ");
    EXPECT_EQ(judge("broken", "regular").verdicts, "meta file whole ");
    setValidation("false");
    EXPECT_EQ(judge("faulty", "regular").verdicts, "meta ") << "scripts are critical";
    EXPECT_EQ(judge("broken", "regular").verdicts, "");
}

/// The reports together name every rule, but those that no package can draw: the text of a missing message,
/// and the finding that the metadata of a package that is no such package would draw.
TEST_F(PackageTest, EveryRuleOfTheseStagesIsInOneOfTheReports) {
    std::string all;
    for (const auto &file : fs::directory_iterator(KELP_REPORTS))
        all += readFile(file.path());
    for (const char *text : {
             "Package name should follow reverse domain notation",
             "[velura-controls] Dependency is unstable or deprecated",
             "[unheard-of] Dependency is not allowed",
             "[foreign] Provides: foreign is not allowed in RPM",
             "[mdm-client] Provides: mdm-client must be specified in RPM",
             "[rival] Conflicts: rival is not allowed in RPM",
             "[mdm-client] Conflicts: mdm-client must be specified in RPM",
             "[ancestor] Obsoletes: ancestor is not allowed in RPM",
             "[vendor] Vendor is set to ondine, this is not recommended",
             "[vendor] Vendor is set to somebody. Setting a vendor in RPM is not allowed",
             "(CRITICAL)\t[scripts] Script sections are not allowed in RPM",
             "] Found setuid, setgid or sticky bit set",
             "] File must not be executable",
             "(ERROR)\t\t[/usr/share/org.example.faulty] Group or World writable directory",
             "(WARNING)\t[/usr/share/org.example.faulty] Group or World writable directory",
             "] User owner should be root",
             "] Group owner should be root",
             "] Beware that symbolic links are only allowed for exclusive paths",
             "] Symbolic link is targeting to not allowed path for it: nowhere",
             "] Failed to read file attributes",
             "] Installation not allowed in this location: forbidden file extension",
             "] Empty directory (can be omitted during package installation)",
             "[/opt/place/file] Installation not allowed in this location\n",
             "[debug] Debug symbols or sources must not be included",
             "[/usr/bin] Direct package ownership of /usr/bin is disallowed",
             "] Hardcoded path found",
             "[binary] Binary does not link to __libc_start_main",
             "[binary] Binary does not export main() symbol - booster might fail",
             "[binary] Binary must export main() symbol for booster to work (Q_DECL_EXPORT)",
             "[rpath] The rpath in binary is empty",
             "[rpath] This rpath in binary is not allowed",
             "[rpath] Rpath is missing where it is mandatory",
             "[binary] Main binary must not exist. Desktop file uses halyard-qml",
             "[binary] Main binary must exist, but it is not found",
             "] Installation not allowed in this location: bad executable format",
             "[arch] RPMs containing arch-specific content should not be noarch",
             "[arch] QML-only RPMs should be noarch",
             "] Executable has a wrong format or encoding",
             "] Executable is in wrong location",
             "[binary] Main binary must be an executable",
             "[libhalyardpolicy.so.0] Library is unstable or deprecated",
             "[libforeign.so.1] Library is not allowed",
             "X-Pelago-Application-Type should be vitrine-qt5 for apps importing Halyard.Vitrine in QML",
             "[\"/usr/lib/foo\"] Import is not allowed",
             "[Unheard.Of 1.0] Beware only allowed imports can be used",
             "[Velura.Controls 1.0] Import is unstable or deprecated",
             "[Pelago.Secret 1.0] Import is not allowed",
             "] Icon not found or file resolution is incorrect",
             "[manifest] manifest file contains invalid JSON",
             "[foo] Unknown manifest key",
             "[keepMediaActiveInBackground] Manifest key has wrong type",
             "[manifest] missing minOSVersion field",
             "[manifest] invalid version in minOSVersion field",
             "[manifest] package minOSVersion incompatible with this OS version",
             "[integrityd] integrityd configuration file mismatching package content",
             "[integrityd] integrityd configuration file contains invalid JSON",
             "] Configuration parameter file for managed configuration is invalid",
         })
        EXPECT_THAT(all, testing::HasSubstr(text));
}

} // namespace
