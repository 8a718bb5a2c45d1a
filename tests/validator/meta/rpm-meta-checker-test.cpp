#include "kelp/core/kelp/validator/rpm-meta-checker.h"

#include "validator/noted-findings.h"

#include <gtest/gtest.h>

using namespace Validator;

namespace {

/// What is found in the header of a package; exactly an error, or what is critical, fails it.
std::string check(const RpmFacts &facts, Profile profile = Profile::Regular, bool forgivesErrors = false) {
    NotedFindings findings;
    bool fails = false;
    const auto note = [&, sink = findings.sink()](const Message &message) {
        fails |= message.level == LogLevel::Critical || (message.level == LogLevel::Error && !forgivesErrors);
        sink(message);
    };
    const auto config = std::make_shared<Config>(profile, Target{!forgivesErrors, {}});
    EXPECT_EQ(RpmMetaChecker(config, RpmMeta(facts), note).validateMeta(), fails);
    return findings.take();
}

RpmFacts with(std::vector<FileInfo> files) {
    RpmFacts facts;
    facts.name = "org.example.app";
    facts.files = std::move(files);
    return facts;
}

FileInfo file(int mode, std::string path) {
    return {static_cast<std::uint16_t>(0100000 | mode), std::move(path), "", "root", "root"};
}
FileInfo directory(int mode, std::string path) {
    return {static_cast<std::uint16_t>(040000 | mode), std::move(path), "", "root", "root"};
}

TEST(RpmMetaChecker, JudgesNames) {
    RpmFacts facts;
    for (const char *name : {"a.b.c", "org.example.app.more", "o-g.e_x.9"}) {
        facts.name = name;
        EXPECT_EQ(check(facts), "") << name;
    }
    for (const char *name :
         {"", "app", "org.example", ".org.example.app", "org..app", "org.example.", "..."}) {
        facts.name = name;
        EXPECT_EQ(check(facts), "name-not-reverse-domain") << name;
    }
}

TEST(RpmMetaChecker, JudgesTheWordsOfTheHeader) {
    const struct {
        std::vector<std::string> RpmFacts::*list;
        std::vector<std::string> words;
        std::string findings;
        Profile profile = Profile::Regular;
    } cases[] = {
        // The last is what a profile demands that demands nothing.
        {&RpmFacts::provides,
         {"application()", "application(org.example.app.desktop)", "org.example.app", "org.example.apparatus",
          "mimehandler(text/plain)", "mimehandler()", ""},
         ""},
        {&RpmFacts::provides,
         {"application(org.example.other.desktop)", "org.example", "mimehandler(", "mimehandler(text/plain",
          "mimehandler(application/x-rpm)"},
         "provides-not-allowed(application(org.example.other.desktop)) provides-not-allowed(org.example) "
         "provides-not-allowed(mimehandler() provides-not-allowed(mimehandler(text/plain) "
         "provides-not-allowed(mimehandler(application/x-rpm))"},
        {&RpmFacts::provides, {"mdm-client"}, "provides-not-allowed(mdm-client)"},
        {&RpmFacts::provides, {"mdm-client"}, "conflicts-missing(mdm-client)", Profile::MDM},
        {&RpmFacts::conflicts, {"mdm-client"}, "conflicts-not-allowed(mdm-client)"},
        {&RpmFacts::conflicts, {"mdm-client"}, "provides-missing(mdm-client)", Profile::MDM},
        {&RpmFacts::conflicts,
         {""},
         "provides-missing(mdm-client) conflicts-missing(mdm-client) conflicts-not-allowed()",
         Profile::MDM},
        {&RpmFacts::conflicts, {""}, ""},
        {&RpmFacts::requirements, {"libQt5Core.so.5", "nfcd", "libcrypto.so.1.1(OPENSSL_1_1_0)"}, ""},
        // Lists of libraries count too.
        {&RpmFacts::requirements,
         {"velura-controls", "libwebrtc.so.104.0.0", "libhalyardapp", "libpng15.so.15"},
         "dependency-unstable(velura-controls) dependency-unstable(libwebrtc.so.104.0.0) "
         "dependency-unstable(libhalyardapp) dependency-unstable(libpng15.so.15)"},
        {&RpmFacts::requirements,
         {"bash", "bash", "libc.so.6(GLIBC_PRIVATE)"},
         "dependency-not-allowed(bash) dependency-not-allowed(libc.so.6(GLIBC_PRIVATE))"},
    };
    for (const auto &c : cases) {
        RpmFacts facts = with({});
        facts.*c.list = c.words;
        EXPECT_EQ(check(facts, c.profile), c.findings) << c.words.front();
    }
    RpmFacts facts = with({});
    facts.vendor = "ondine";
    EXPECT_EQ(check(facts), "vendor-discouraged(ondine)");
    facts.vendor = "Ondine";
    EXPECT_EQ(check(facts), "vendor-not-allowed(Ondine)");
    for (const bool hasScripts : {false, true}) {
        facts.hasScripts = hasScripts;
        EXPECT_EQ(check(facts, Profile::Regular, true),
                  hasScripts ? "vendor-not-allowed(Ondine) scripts" : "vendor-not-allowed(Ondine)");
    }
}

TEST(RpmMetaChecker, AllowsExecutablesWhereTheyBelong) {
    for (const char *path :
         {"/usr/bin/org.example.app2", "/usr/libexec/org.example.app/helper",
          "/usr/share/org.example.app/x.so/run", "/usr/lib/3rdparty/org.example.app/libfoo.so",
          "/usr/lib64/qt5/qml/A/libfoo.so", "/usr/lib/connman/plugins-vpn/libfoo.so",
          "/opt/extension/qca-plugins/org.example.app/libfoo.so"})
        EXPECT_EQ(check(with({file(0744, path)})), "") << path;
    for (const std::string path :
         {"/usr/bin/other", "/usr/libexec/org.example.app2", "/usr/share/org.example.app/run",
          "/usr/share/org.example.app2/libfoo.so", "/opt/extension/qca-plugins/libfoo.so"})
        EXPECT_EQ(check(with({file(0744, path)})), "executable-mode(" + path + ")");
}

TEST(RpmMetaChecker, JudgesModesOwnersAndDirectories) {
    const auto foreign = [](int mode) {
        return FileInfo{static_cast<std::uint16_t>(mode), "/p/a", "", "rooted", ""};
    };
    const std::pair<std::vector<FileInfo>, std::string> cases[] = {
        {{file(04755, "/usr/bin/a")}, "special-mode-bits(/usr/bin/a) executable-mode(/usr/bin/a)"},
        {{file(02644, "/p/a")}, "special-mode-bits(/p/a)"},
        {{file(01644, "/p/a")}, "special-mode-bits(/p/a)"},
        {{file(0664, "/p/a")}, "writable-by-others(/p/a,file)"},
        {{file(0646, "/p/a")}, "writable-by-others(/p/a,file)"},
        {{foreign(0100644)}, "owner-not-root(/p/a) group-not-root(/p/a)"},
        {{foreign(0)}, "file-kind-unknown(/p/a)"},
        {{foreign(0060000)}, "file-kind-unknown(/p/a)"},
        {{foreign(0140000)}, "file-kind-unknown(/p/a)"},
        {{directory(0755, "/p"), file(0644, "/p/a")}, ""},
        {{directory(0775, "/p"), file(0644, "/p.d/a"), directory(0755, "/q")},
         "writable-by-others(/p,directory) directory-empty(/p) directory-empty(/q)"},
        {{file(0644, "/p/.git/HEAD"), directory(0755, "/p/.git")}, "file-extension-forbidden(/p/.git)"},
    };
    for (const auto &[files, findings] : cases)
        EXPECT_EQ(check(with(files)), findings) << files.front().mode;
    EXPECT_EQ(check(with({file(0646, "/p/a")}), Profile::Auth), "writable-by-others-tolerated(/p/a,file)");
}

TEST(RpmMetaChecker, CountsTheDirectoriesThatNobodyLists) {
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

TEST(RpmMetaChecker, LetsLinksLeadOnlyIntoThePackage) {
    const struct {
        const char *path;
        const char *target;
        const char *complaint; ///< What is left of the target, or null for none.
    } cases[] = {
        {"/usr/share/p/a/b", "../../lib/libfoo.so", "lib/libfoo.so"},
        {"/usr/share/p/a/b", "../lib/libfoo.so", nullptr},
        {"/usr/share/p/a/b", "/usr/share/p/lib/libfoo.so", nullptr},
        {"/usr/share/p/lib/b", "libfoo.so", nullptr},
        {"/usr/share/p/lib/b", "x/../libfoo.so", "x/../libfoo.so"},
        {"/usr/share/p/lib/b", "", nullptr},
        {"/usr/share/p/a/b", "", ""},
        {"/usr/share/p/a/b", "../../../../../../usr/share/p/lib", nullptr},
        {"/usr/share/p/a/b", "/etc/passwd", "/etc/passwd"},
        {"/usr/share/p/a/b", "/usr/share/p/lib/", "/usr/share/p/lib/"},
        {"b", "../../c", "c"},
        {"", "", nullptr},
    };
    for (const auto &[path, target, complaint] : cases) {
        std::string expected = "link-exclusive-paths(" + std::string(path) + ")";
        if (complaint)
            expected += std::string(" link-target-not-allowed(") + path + "," + complaint + ")";
        EXPECT_EQ(check(with({{0120777, path, target, "nobody", "nobody"},
                              directory(0755, "/usr/share/p/lib"),
                              file(0644, "/usr/share/p/lib/libfoo.so")})),
                  expected)
            << path << " to " << target;
    }
}

} // namespace
