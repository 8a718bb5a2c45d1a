#include "desktop-fixture.h"

#include "kelp/core/kelp/mappings/mapping-table.h"
#include "support/captured-output.h"

#include <gtest/gtest.h>

using namespace Validator;
namespace fs = std::filesystem;

namespace {

const std::string gone = "ExecDBus error: No such file or directory\n";
struct LaunchCase {
    std::string launchLine;
    bool isAllowed;
    std::string output;
};

class ExecDBus : public testing::Test {
protected:
    void place(const std::string &path) { writeFile(directory.path() / path, ""); }
    void link(const fs::path &target, const std::string &path) {
        fs::create_directories((directory.path() / path).parent_path());
        fs::create_symlink(target, directory.path() / path);
    }

    template<std::size_t size>
    void expect(const LaunchCase (&cases)[size]) {
        for (const LaunchCase &c : cases) {
            CapturedOutput output(CapturedOutput::Stream::Error);
            EXPECT_EQ(isExecDBusAllowed(c.launchLine, package, tree), c.isAllowed) << c.launchLine;
            EXPECT_EQ(output.take(), c.output) << c.launchLine;
        }
    }

    TemporaryDirectory directory;
    UnpackedTree tree{(directory.path() / "tree").string(), {}};
};

TEST_F(ExecDBus, NamesAProgramOfThePackage) {
    const LaunchCase cases[] = {
        {"/usr/bin/com.example.app --dbus", true, ""},
        {"/usr/libexec/com.example.app/daemon -x", true, ""},
        {"/usr/bin/daemon", true, ""},
        {"/usr/bin/com.example.other", false, ""},
        {"/usr/bin/../bin/com.example.app", false, ""},
        {"/usr/libexec/com.example.other/daemon", false, ""},
        {"/usr/libexec/com.example.app/gone", false, gone},
        {"/usr/bin/com.example.app\t--dbus", false, gone},
        {"com.example.app", false, gone},
    };
    for (const std::string path : {"bin/com.example.app", "bin/com.example.other",
                                   "libexec/com.example.app/daemon", "libexec/com.example.other/daemon"})
        place("tree/usr/" + path);
    link("../libexec/com.example.app/daemon", "tree/usr/bin/daemon");
    expect(cases);
    expect({{"/usr/bin/../libexec/com.example.app/daemon", true, ""},
            {"/usr/libexec/com.example.app/../com.example.other/daemon", false, ""}});

    // The same package, laid out as the store has it.
    tree = {(directory.path() / "mapped").string(),
            Core::KELP::buildMappings(package, "", {}, {}, Core::KELP::Rooted::No)};
    for (const std::string path : {"bin/com.example.app", "bin/com.example.other", "libexec/daemon",
                                   "usr/libexec/com.example.other/daemon"})
        place("mapped/" + path);
    link("../libexec/daemon", "mapped/bin/daemon");
    expect(cases);
    expect({{"/usr/libexec/com.example.app/../bin/com.example.other", false, ""}});
}

TEST_F(ExecDBus, JudgesWhatALinkLeadsTo) {
    place("outside/daemon");
    const std::string libexec = "tree/usr/libexec/com.example.app/";
    link(directory.path() / "outside/daemon", libexec + "escaped");
    link("loop", libexec + "loop");
    link("loop", "tree/usr/bin/com.example.app");
    link("com.example.app", "tree/usr/bin/loop");
    const std::string loop = "ExecDBus error: Too many levels of symbolic links\n";
    const LaunchCase cases[] = {
        {"/usr/libexec/com.example.app/escaped", false, ""},
        {"/usr/libexec/com.example.app/loop", false, loop},
        {"/usr/libexec/com.example.app/" + std::string(5000, 'a'), false,
         "ExecDBus error: File name too long\n"},
        // The package's binary is told by its name.
        {"/usr/bin/com.example.app", true, loop},
    };
    expect(cases);
}

TEST(ExecDBusAtTheEnd, IsTakenFromTheSectionInUse) {
    const std::string bad = "ExecDBus=/usr/bin/other\n";
    const std::pair<std::string, const char *> cases[] = {
        {launchEntry + sandbox + bad, "exec-dbus-invalid"},
        {launchEntry + sandbox + "ExecDBus=/usr/libexec/com.example.app/daemon\n", ""},
        {launchEntry + sandbox + bad + "[X-Fencebox]\n", ""},
        {launchEntry + bad, ""},
    };
    for (const auto &[text, findings] : cases) {
        const CapturedOutput reason(CapturedOutput::Stream::Error);
        DesktopCheck check;
        check.checker().setPathMappings(
            Core::KELP::buildMappings(package, "", {}, {}, Core::KELP::Rooted::No));
        writeFile(check.desktopFile().parent_path() / "libexec/daemon", "");
        check.validate(text);
        EXPECT_EQ(check.finish(), findings) << text;
    }
}

} // namespace
