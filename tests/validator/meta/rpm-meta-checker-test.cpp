#include "kelp/core/kelp/validator/rpm-meta-checker.h"

#include "support/captured-output.h"
#include "support/temporary-directory.h"
#include "support/text-file.h"

#include <gtest/gtest.h>

#include <functional>

using namespace Validator;

namespace {

constexpr std::string_view developerMode = "var/lib/developer-moded/developer-moded.conf";

class RpmMetaCheckerTest : public testing::Test {
protected:
    RpmMetaCheckerTest() { setValidation("true"); }

    void setValidation(const std::string &value) {
        writeFile(root_.path() / developerMode, "[developermode]\nvalidationEnabled=" + value + '\n');
    }

    /// The report on the package.
    std::string check(const RpmFacts &facts, Profile profile = Profile::Regular) {
        CapturedOutput report(CapturedOutput::Stream::Error);
        hasFailed_ = RpmMetaChecker(std::make_shared<Config>(profile), RpmMeta(facts)).validateMeta();
        return report.take();
    }

    bool hasFailed_ = false; ///< What the last check() came to.

private:
    TemporaryRoot root_;
};

RpmFacts sound() {
    RpmFacts facts;
    facts.name = "org.example.app";
    return facts;
}

RpmFacts with(std::vector<FileInfo> files) {
    RpmFacts facts = sound();
    facts.files = std::move(files);
    return facts;
}

FileInfo file(int mode, std::string path) {
    return {static_cast<std::uint16_t>(0100000 | mode), std::move(path), "", "root", "root"};
}
FileInfo directory(int mode, std::string path) {
    return {static_cast<std::uint16_t>(040000 | mode), std::move(path), "", "root", "root"};
}
FileInfo link(std::string path, std::string target) {
    return {0120777, std::move(path), std::move(target), "nobody", "nobody"};
}

TEST_F(RpmMetaCheckerTest, JudgesNames) {
    const std::string complaint =
        "(ERROR)\t\tPackage name should follow reverse domain notation (e.g. \"org.example.app\")\n";
    for (const char *name : {"a.b.c", "org.example.app.more", "o-g.e_x.9"}) {
        RpmFacts facts;
        facts.name = name;
        EXPECT_EQ(check(facts), "") << name;
        EXPECT_FALSE(hasFailed_);
    }
    for (const char *name :
         {"", "app", "org.example", ".org.example.app", "org..app", "org.example.", "..."}) {
        RpmFacts facts;
        facts.name = name;
        EXPECT_EQ(check(facts), complaint) << name;
        EXPECT_TRUE(hasFailed_);
    }
}

TEST_F(RpmMetaCheckerTest, JudgesVendors) {
    RpmFacts facts = sound();
    facts.vendor = "ondine";
    EXPECT_EQ(check(facts), "(WARNING)\t[vendor] Vendor is set to ondine, this is not recommended\n");
    EXPECT_FALSE(hasFailed_);
    facts.vendor = "Ondine";
    EXPECT_EQ(check(facts),
              "(ERROR)\t\t[vendor] Vendor is set to Ondine. Setting a vendor in RPM is not allowed\n");
    EXPECT_TRUE(hasFailed_);
}

TEST_F(RpmMetaCheckerTest, JudgesProvides) {
    const auto provide = [&](const std::string &name) {
        RpmFacts facts = sound();
        facts.provides = {name};
        return check(facts);
    };
    // The last is what a profile demands that demands nothing.
    for (const char *name : {"application()", "application(org.example.app.desktop)", "org.example.app",
                             "org.example.apparatus", "mimehandler(text/plain)", "mimehandler()", ""})
        EXPECT_EQ(provide(name), "") << name;
    EXPECT_FALSE(hasFailed_);
    for (const std::string name :
         {"application(org.example.other.desktop)", "org.example", "mimehandler(", "mimehandler(text/plain",
          "mimehandler(application/x-rpm)", "mdm-client"}) {
        EXPECT_EQ(provide(name), "(ERROR)\t\t[" + name + "] Provides: " + name + " is not allowed in RPM\n");
        EXPECT_TRUE(hasFailed_) << name;
    }
}

TEST_F(RpmMetaCheckerTest, DemandsTheRequiredPackage) {
    const std::string missingProvides =
        "(ERROR)\t\t[mdm-client] Provides: mdm-client must be specified in RPM\n";
    const std::string missingConflicts =
        "(ERROR)\t\t[mdm-client] Conflicts: mdm-client must be specified in RPM\n";
    RpmFacts facts = sound();
    EXPECT_EQ(check(facts, Profile::MDM), missingProvides + missingConflicts);
    facts.conflicts = {"mdm-client"};
    EXPECT_EQ(check(facts, Profile::MDM), missingProvides);
    EXPECT_EQ(check(facts), "(ERROR)\t\t[mdm-client] Conflicts: mdm-client is not allowed in RPM\n");
    facts.provides = {"mdm-client"};
    EXPECT_EQ(check(facts, Profile::MDM), "");
    EXPECT_FALSE(hasFailed_);
    facts.conflicts = {""};
    EXPECT_EQ(check(facts, Profile::MDM),
              missingConflicts + "(ERROR)\t\t[] Conflicts:  is not allowed in RPM\n");
    facts.provides = {};
    EXPECT_EQ(check(facts), "") << "without a required package an empty name equals it";
}

TEST_F(RpmMetaCheckerTest, HoldsRequirementsAgainstLibrariesToo) {
    RpmFacts facts = sound();
    facts.requirements = {"libQt5Core.so.5", "nfcd", "libcrypto.so.1.1(OPENSSL_1_1_0)"};
    EXPECT_EQ(check(facts), "");
    facts.requirements = {"velura-controls", "libwebrtc.so.104.0.0", "libhalyardapp", "libpng15.so.15"};
    std::string expected;
    for (const std::string &dependency : facts.requirements)
        expected += "(WARNING)\t[" + dependency + "] Dependency is unstable or deprecated\n";
    EXPECT_EQ(check(facts), expected);
    EXPECT_FALSE(hasFailed_);
    facts.requirements = {"bash", "bash", "libc.so.6(GLIBC_PRIVATE)"};
    EXPECT_EQ(check(facts), "(ERROR)\t\t[bash] Dependency is not allowed\n"
                            "(ERROR)\t\t[libc.so.6(GLIBC_PRIVATE)] Dependency is not allowed\n");
    EXPECT_TRUE(hasFailed_);
}

TEST_F(RpmMetaCheckerTest, ForgivesErrorsInDeveloperModeButNoScripts) {
    setValidation("false");
    RpmFacts facts = sound();
    facts.obsoletes = {"former"};
    EXPECT_EQ(check(facts), "(ERROR)\t\t[former] Obsoletes: former is not allowed in RPM\n");
    EXPECT_FALSE(hasFailed_);
    facts.hasScripts = true;
    EXPECT_EQ(check(facts), "(ERROR)\t\t[former] Obsoletes: former is not allowed in RPM\n"
                            "(CRITICAL)\t[scripts] Script sections are not allowed in RPM\n");
    EXPECT_TRUE(hasFailed_);
}

TEST_F(RpmMetaCheckerTest, AllowsExecutablesWhereTheyBelong) {
    for (const char *path :
         {"/usr/bin/org.example.app", "/usr/bin/org.example.app2", "/usr/libexec/org.example.app/helper",
          "/usr/share/org.example.app/lib/libfoo.so.1", "/usr/share/org.example.app/x.so/run",
          "/usr/lib/3rdparty/org.example.app/libfoo.so", "/usr/lib/qt5/qml/A/libfoo.so",
          "/usr/lib64/qt5/qml/A/libfoo.so", "/usr/lib/connman/plugins-vpn/libfoo.so",
          "/usr/lib64/connman/plugins-vpn/libfoo.so",
          "/opt/extension/p11-kit-modules/org.example.app/libfoo.so",
          "/opt/extension/qca-plugins/org.example.app/libfoo.so"})
        EXPECT_EQ(check(with({file(0744, path)})), "") << path;
    for (const std::string path :
         {"/usr/bin/other", "/usr/libexec/org.example.app2", "/usr/share/org.example.app/run",
          "/usr/share/org.example.app2/libfoo.so", "/opt/extension/qca-plugins/libfoo.so"})
        EXPECT_EQ(check(with({file(0744, path)})), "(ERROR)\t\t[" + path + "] File must not be executable\n");
}

TEST_F(RpmMetaCheckerTest, JudgesModesAndOwners) {
    const std::string path = "/usr/bin/org.example.app";
    for (const int special : {04000, 02000, 01000})
        EXPECT_EQ(check(with({file(special | 0755, path)})),
                  "(ERROR)\t\t[" + path + "] Found setuid, setgid or sticky bit set\n");
    for (const int writable : {0020, 0002}) {
        EXPECT_EQ(check(with({file(writable, path)})),
                  "(ERROR)\t\t[" + path + "] Group or World writable file\n");
        EXPECT_TRUE(hasFailed_);
        EXPECT_EQ(check(with({file(writable, path)}), Profile::Auth),
                  "(WARNING)\t[" + path + "] Group or World writable file\n");
        EXPECT_FALSE(hasFailed_);
    }
    FileInfo foreign = file(0644, path);
    foreign.user = "rooted";
    foreign.group = "";
    EXPECT_EQ(check(with({foreign})), "(ERROR)\t\t[" + path + "] User owner should be root\n" + //
                                          "(ERROR)\t\t[" + path + "] Group owner should be root\n");
    for (const int kind : {0, 0010000, 0020000, 0060000, 0140000}) {
        foreign.mode = static_cast<std::uint16_t>(kind);
        EXPECT_EQ(check(with({foreign})), "(ERROR)\t\t[" + path + "] Failed to read file attributes\n");
    }
}

TEST_F(RpmMetaCheckerTest, JudgesDirectories) {
    const std::string empty = "] Empty directory (can be omitted during package installation)\n";
    EXPECT_EQ(check(with({directory(0755, "/p"), file(0644, "/p/a")})), "");
    EXPECT_EQ(check(with({directory(0775, "/p"), file(0644, "/p.d/a"), directory(0755, "/q")})),
              "(ERROR)\t\t[/p] Group or World writable directory\n"
              "(WARNING)\t[/p" +
                  empty + "(WARNING)\t[/q" + empty);
    EXPECT_EQ(check(with({file(0644, "/p/.git/HEAD"), directory(0755, "/p/.git")})),
              "(ERROR)\t\t[/p/.git] Installation not allowed in this location: forbidden file extension\n");
}

TEST_F(RpmMetaCheckerTest, CountsTheDirectoriesThatNobodyLists) {
    for (const auto &[depth, count, isTooMany] :
         {std::tuple(4, 251, true), {4, 249, false}, {3, 333, false}}) {
        std::vector<FileInfo> files;
        for (int i = 0; i < count; ++i) {
            std::string path = "/usr/d" + std::to_string(i);
            for (int level = 1; level < depth; ++level)
                path += "/" + std::to_string(level);
            files.push_back(file(0644, path + "/a"));
        }
        EXPECT_EQ(check(with(files)).empty(), !isTooMany) << depth << ' ' << count;
    }
}

TEST_F(RpmMetaCheckerTest, LetsLinksLeadOnlyIntoThePackage) {
    const struct {
        const char *path;
        const char *target;
        const char *complaint; ///< What is left of the target, or null for none.
    } cases[] = {
        {"/usr/share/p/a/b", "../../lib/libfoo.so", "lib/libfoo.so"},
        {"/usr/share/p/a/b", "../lib/libfoo.so", nullptr},
        {"/usr/share/p/a/b", "/usr/share/p/lib/libfoo.so", nullptr},
        {"/usr/share/p/lib/b", "libfoo.so", nullptr},
        {"/usr/share/p/lib/b", "./libfoo.so", "./libfoo.so"},
        {"/usr/share/p/lib/b", "x/../libfoo.so", "x/../libfoo.so"},
        {"/usr/share/p/lib/b", "..", ".."},
        {"/usr/share/p/lib/b", "", nullptr},
        {"/usr/share/p/a/b", "", ""},
        {"/usr/share/p/a/b", "../../../../../../usr/share/p/lib", nullptr},
        {"/usr/share/p/a/b", "/etc/passwd", "/etc/passwd"},
        {"/usr/share/p/a/b", "/usr/share/p/lib/", "/usr/share/p/lib/"},
        {"b", "../../c", "c"},
        {"", "", nullptr},
    };
    for (const auto &c : cases) {
        const std::string path = c.path;
        std::string expected =
            "(INFO)\t\t[" + path + "] Beware that symbolic links are only allowed for exclusive paths\n";
        if (c.complaint)
            expected += "(ERROR)\t\t[" + path +
                        "] Symbolic link is targeting to not allowed path for it: " + c.complaint + '\n';
        const RpmFacts facts = with({link(c.path, c.target), directory(0755, "/usr/share/p/lib"),
                                     file(0644, "/usr/share/p/lib/libfoo.so")});
        EXPECT_EQ(check(facts), expected) << c.path << " to " << c.target;
    }
}

} // namespace
