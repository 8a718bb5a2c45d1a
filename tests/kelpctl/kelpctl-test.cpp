// Runs the program as a maker of packages would. What it prints is held against reviewed files; a change that
// was reviewed is accepted by running this program with KELP_ACCEPT_REPORTS=1.

#include "kelp/core/kelp/validator/catalogue.h"
#include "kelpctl/explanations/explanation.h"
#include "kelpctl/explanations/machine-words.h"
#include "kelpctl/shown-text.h"
#include "kelpctl/validate/judge-pool.h"
#include "kelpctl/validate/package-report.h"
#include "kelpctl/validate/run/channel.h"
#include "kelpctl/validate/run/spool.h"
#include "kelpctl/validate/run/workspace.h"

#include "../extract/rpm-writer.h"
#include "support/no-more-files.h"
#include "support/temporary-directory.h"
#include "support/text-file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <array>
#include <cstdlib>
#include <map>
#include <set>

namespace fs = std::filesystem;

namespace {

using testing::AllOf;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

const std::string sound = KELP_RPMS "/sound.rpm";
const std::string faulty = KELP_RPMS "/faulty.rpm";

void expectGolden(const std::string &name, const std::string &text) {
    const fs::path file = fs::path(KELP_GOLDEN) / name;
    if (std::getenv("KELP_ACCEPT_REPORTS"))
        writeFile(file, text);
    EXPECT_EQ(text, readFile(file)) << file;
}

/// A package that takes a second to judge: each of its imports is at fault.
void writeLarge(const fs::path &file) {
    RpmWriter writer;
    std::string imports;
    for (int i = 0; i < 1000; ++i)
        imports += "import Qt" + std::to_string(i) + " 1\n";
    for (int i = 100; i < 400; ++i)
        writer.files.push_back({"/usr/share/org.example.app/", std::to_string(i) + ".qml", 0100644, imports});
    writer.write(file);
}

class KelpCtlTest : public testing::Test {
protected:
    /// Has a judge held for longer than it may take, while the other tests go on. It runs at the lowest
    /// priority, and the shell asks without a pause, so that a busy machine does not let it finish before it
    /// is held.
    static void SetUpTestSuite() {
        writeLarge(held.path() / "large.rpm");
        const std::string run =
            "TMPDIR=. nice -n 19 " KELPCTL " validate --timeout 1 --output report large.rpm >report & until "
            "[ -e kelpctl-*/tree/data/110.qml ] || [ -s report ]; do :; done; ";
        const std::string hold =
            "j=$(cat /proc/$!/task/$!/children); kill -STOP $j; sleep 1; kill -CONT $j; ";
        heldRun = ::popen(
            ("cd " + held.path().string() + "; " + run + hold + "wait $!; s=$?; cat report; exit $s").c_str(),
            "r");
    }
    static void TearDownTestSuite() {
        char report[100] = {};
        EXPECT_STREQ(std::fgets(report, sizeof report, heldRun),
                     "large.rpm: incomplete: It takes longer than 1 seconds\n");
        EXPECT_EQ(::pclose(heldRun), W_EXITCODE(2, 0));
    }

    KelpCtlTest() {
        for (const fs::path &directory : {temporary_, home_})
            fs::create_directory(directory);
    }

    /// The exit status, or the signal with a minus.
    int run(const std::string &arguments, const std::string &environment = "") {
        const std::string command = "cd " KELP_RPMS "; HOME='" + home_.string() + "' TMPDIR='" +
                                    temporary_.string() + "' " + environment + " " KELPCTL " " + arguments +
                                    " >'" + out_.string() + "' 2>'" + error_.string() + "'";
        const int status = std::system(command.c_str());
        EXPECT_TRUE(fs::is_empty(temporary_)) << "left something behind";
        EXPECT_TRUE(fs::is_empty(home_)) << "made something in the home directory";
        return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }

    std::string out() const { return readFile(out_); }
    std::string error() const { return readFile(error_); }

    static inline const TemporaryDirectory held;
    static inline FILE *heldRun = nullptr;
    TemporaryRoot root_;
    fs::path temporary_ = root_.path() / "tmp";
    fs::path home_ = root_.path() / "home";
    fs::path out_ = root_.path() / "out";
    fs::path error_ = root_.path() / "error";
};

TEST_F(KelpCtlTest, ReportsReadAsTheyWereReviewed) {
    EXPECT_EQ(run("validate --os-version 5.0 faulty.rpm"), 1);
    expectGolden("faulty.txt", out());
    EXPECT_EQ(error(), "");
    EXPECT_EQ(run("validate --profile mdm --explain faulty.rpm"), 1);
    EXPECT_THAT(
        out(),
        AllOf(HasSubstr("rules --profile mdm provides\n      Example, in the .spec file:\n          %global"),
              HasSubstr("\n      How to mend it: Name the program after the whole package, "
                        "/usr/bin/org.example.faulty,")));
    EXPECT_EQ(run("validate sound.rpm"), 0);
    EXPECT_EQ(out(), "org.example.sound 1-1 (sound.rpm), profile regular\n  accepted: no findings\n");
    EXPECT_EQ(run("validate --output report faulty.rpm sound.rpm"), 1);
    EXPECT_EQ(out(), "faulty.rpm: refused: package meta validation failed\nsound.rpm: accepted\n");
    EXPECT_THAT(error(),
                AllOf(HasSubstr("(CRITICAL)\t[scripts] Script sections are not allowed in RPM\n"),
                      HasSubstr("\nExecDBus error: No such file or directory\n(ERROR)\t\t[fencebox]")));
}

/// Makers hide findings by their ids and look them up.
TEST_F(KelpCtlTest, EveryFindingHasAnIdThatStaysAndAnExplanation) {
    std::map<std::string, std::string> list; // The ids of each level that begin with the same word.
    std::set<std::string_view> ids;
    for (const auto &entry : Validator::allFindings()) {
        const std::string id(entry.id);
        list[KelpCtl::nameOf(entry.level) + ' ' + id.substr(0, id.find('-'))] += ' ' + id;
        EXPECT_TRUE(ids.insert(entry.id).second) << entry.id << " twice";
    }
    std::string lines;
    for (const auto &[group, members] : list)
        lines += group + ':' + members + '\n';
    expectGolden("ids.txt", lines);
    EXPECT_EQ(run("explain scripts"), 0);
    EXPECT_THAT(out(), StartsWith("scripts (critical)\n"));
    EXPECT_EQ(run("explain --list"), 0);
    EXPECT_EQ(static_cast<std::size_t>(std::ranges::count(out(), '\n')),
              ids.size() + KelpCtl::machineWords().size());
    const std::string headings = readFile(fs::path(KELP_GOLDEN) / "../../docs/recovery.md");
    for (const KelpCtl::MachineWord &word : KelpCtl::machineWords()) {
        const std::string text = (word.isHeading ? "\n## " : "") + std::string(word.help);
        EXPECT_NE(headings.find(text), headings.npos) << text;
    }
    EXPECT_EQ(run("explain rescued"), 0);
    EXPECT_THAT(out(), AllOf(StartsWith("rescued (doctor)\n"), HasSubstr("\nrescued (status)\n")));
}

TEST_F(KelpCtlTest, OverriddenFindingsDoNotCount) {
    RpmWriter writer;
    for (int i = 0; i < 150; ++i)
        writer.files.push_back({"/usr/share/org.example.app/", std::to_string(i), 0040755});
    writer.files.push_back({"/usr/share/org.example.app-2/", "last", 0040755});
    writer.write(root_.path() / "empty.rpm");
    const fs::path overrides = root_.path() / "overrides";
    const auto judge = [&](const std::string &lines) {
        writeFile(overrides, "rpath-empty * It has no program.\n\n" + lines);
        return run("validate --developer-mode --fail-on warning --overrides " + overrides.string() + ' ' +
                   (root_.path() / "empty.rpm").string());
    };
    // After a hundred that are overridden, one that is not.
    EXPECT_EQ(judge("# Known\ndirectory-empty */org.example.app/* Made here.\nversion-long * It is.\n"), 1);
    EXPECT_THAT(out(), AllOf(HasSubstr("/last: Empty directory"), Not(HasSubstr("/149")),
                             HasSubstr(" 1 warning, 151 overridden\n")));
    EXPECT_THAT(error(), testing::EndsWith("/overrides:5: no finding for version-long *\n"));
    EXPECT_EQ(judge("directory-empty * Made here.\r\n"), 0) << out();
    for (const char *unusable : {"scripts * No.\n", "nothing * No.\n", "directory-empty *\n"})
        EXPECT_EQ(judge(unusable), 2) << unusable;
}

TEST_F(KelpCtlTest, ExitStatusesTellVerdictFromTrouble) {
    writeFile(root_.path() / "text.rpm", "no package");
    // Scripts are critical, and refuse a package: no mode forgives them, and nobody hides them.
    const std::pair<int, std::vector<std::string>> rows[] = {
        {0, {"validate --fail-on warning --profile mdm --developer-mode sound.rpm"}},
        {1, {"validate --developer-mode faulty.rpm", "validate --profile mdm sound.rpm"}},
        {2,
         {"validate " + (root_.path() / "text.rpm").string() + " sound.rpm",
          "validate sound.rpm 3>/dev/full >&3 #", "--version >/dev/full #",
          "validate --output report faulty.rpm 2>/dev/full >/dev/null #", "validate --hide scripts sound.rpm",
          "validate --hide nothing sound.rpm", "validate --os-version five sound.rpm", "explain nothing",
          "validate --max-unpacked -1 sound.rpm", "validate --files-from '' sound.rpm", "history ''",
          "doctor ''", "owner ''", "", "--root / install x", "policy missing-source allow --root /"}},
    };
    for (const auto &[status, lines] : rows)
        for (const std::string &arguments : lines)
            EXPECT_EQ(run(arguments), status) << arguments << '\n' << out() << error();
}

TEST_F(KelpCtlTest, NamesTheWordThatWasMeant) {
    const std::array<const char *, 2> rows[] = {
        {"stat", "No such command: stat; did you mean status?\n"},
        {"docotr", "did you mean doctor?\n"},
        {"walk", "No such command: walk\n"},
        {"doctor --repir=x", "not expected: --repir=x; did you mean --repair?\n"},
        {"explain scripst", "did you mean scripts?\n"},
        {"--root /nowhere status", "--root: Directory does not exist: /nowhere\n"},
    };
    for (const auto &[arguments, words] : rows) {
        EXPECT_EQ(run(arguments), 2);
        EXPECT_THAT(error(), HasSubstr(words)) << arguments;
    }
}

TEST_F(KelpCtlTest, ShellsCompleteWhatTheHelpLists) {
    const std::string shell =
        "--version >/dev/null; bash -c '. " KELP_COMPLETION "; COMP_WORDS=(\"$@\"); COMP_CWORD=$(($# - 1)); "
        "_kelpctl " KELPCTL " \"${@: -1}\" \"${@: -2:1}\"; echo \"${COMPREPLY[*]}\"' bash kelpctl ";
    const std::pair<const char *, const char *> rows[] = {
        {"val", "validate\n"},
        {"--color never doctor --re", "--repair\n"},
        {"validate --output js", "json jsonl\n"},
    };
    for (const auto &[line, completed] : rows) {
        run(shell + line);
        EXPECT_EQ(out(), completed) << line << error();
    }
}

TEST_F(KelpCtlTest, TheMachineChangesNoVerdict) {
    writeFile(root_.path() / "tmp-root/etc/os-release", "VERSION_ID=5.0\n");
    fs::create_directory_symlink(temporary_, root_.path() / "link");
    fs::permissions(root_.path(), fs::perms(0755));
    fs::permissions(temporary_, fs::perms(0777));
    const std::string at = root_.path();
    // Who may not even reach the program says nothing.
    std::string asNobody = "setpriv --reuid 65534 --regid 65534 --clear-groups";
    if (std::system((asNobody + " test -x " KELPCTL " 2>/dev/null").c_str()) != 0)
        asNobody.clear();
    EXPECT_EQ(run("validate sound.rpm faulty.rpm"), 1);
    const std::string report = out();
    for (const std::string &environment :
         {"TMPDIR=" + at + "/link", "TMPDIR=" + at + "//tmp/.", asNobody, "KELP_ROOT_FS=" + at + "/nowhere",
          std::string("-u KELP_ROOT_FS")}) {
        EXPECT_EQ(run("validate sound.rpm faulty.rpm", "env " + environment), 1) << environment;
        EXPECT_EQ(out(), report) << environment;
    }
    EXPECT_EQ(run("validate faulty.rpm", "KELP_ROOT_FS=" + at + "/tmp-root"), 1);
    EXPECT_THAT(out(), HasSubstr("manifest-version-incompatible"));
}

TEST_F(KelpCtlTest, SignaturesDoNotCountAndDigestsDo) {
    RpmWriter writer;
    writer.isSigned = true;
    writer.write(root_.path() / "signed.rpm");
    EXPECT_EQ(run("validate " + (root_.path() / "signed.rpm").string()), 1) << out();
    const std::string bytes = readFile(sound), damaged = root_.path() / "damaged.rpm";
    writeFile(damaged, bytes + 'x');
    EXPECT_EQ(run("validate " + damaged), 2);
    EXPECT_THAT(out(), HasSubstr("[payload-digest-wrong]"));
    std::string changed = bytes;
    changed.at(changed.find("without a fault")) = 'W';
    writeFile(damaged, changed);
    EXPECT_EQ(run("validate " + damaged), 2);
    EXPECT_THAT(out(), HasSubstr("[header-digest-wrong]"));
    std::string source = bytes;
    source.at(7) = 1;
    for (const auto &[content, words] : {std::pair(source, "It is a source package: "),
                                         {"!<arch>\ndebian-binary", "It is a Debian package: "},
                                         {bytes.substr(0, bytes.size() / 2), "incomplete: "}}) {
        writeFile(damaged, content);
        EXPECT_EQ(run("validate " + damaged), 2);
        EXPECT_THAT(out(), HasSubstr(words));
    }
}

TEST_F(KelpCtlTest, GivesNoVerdictOnWhatCouldNotBeUnpacked) {
    const std::string limited = "sh -c 'trap \"\" XFSZ; ulimit -f 16; exec \"$0\" \"$@\"'";
    // Written by the thread that judges, by that which unpacks, and by the one after it.
    for (const auto &[size, last] : {std::pair(12'000U, 1U), {12'000U, 0x80000U}, {1'000'000U, 1U}}) {
        RpmWriter writer;
        writer.files = {{"/usr/share/org.example.app/", "a", 0100644, std::string(size, 'x')},
                        {"/usr/share/org.example.app/", "b", 0100644, std::string(last, 'x')}};
        writer.write(root_.path() / "large.rpm");
        EXPECT_EQ(run("validate " + (root_.path() / "large.rpm").string(), limited), 2) << size;
        EXPECT_THAT(out(), ContainsRegex("incomplete: Couldn't write rpm package .*: File too large"))
            << size;
    }
}

/// What costs more than somebody wants to spend says nothing about the package.
TEST_F(KelpCtlTest, KeepsToBounds) {
    RpmWriter writer;
    std::string imports;
    for (int i = 0; i < 300; ++i)
        imports += "import Qt" + std::to_string(i % 150) + " 1\n";
    writer.files = {{"/usr/share/org.example.app/", "a.qml", 0100644, imports}};
    const std::string file = (root_.path() / "package.rpm").string();
    writer.write(file);
    EXPECT_EQ(run("validate --max-unpacked 1K " + file), 2);
    EXPECT_THAT(out(), HasSubstr("incomplete: Couldn't unpack package: "));
    EXPECT_EQ(run("validate --max-unpacked 1M --timeout 100 " + file), 1);
    // A hundred that differ, fifty more, and the second half, which is not held against the first.
    EXPECT_THAT(out(), AllOf(HasSubstr("error: and 200 more reports [qml-import-not-allowed]"),
                             ContainsRegex("refused: .* 307 errors")));
    EXPECT_EQ(run("validate --output report " + file), 1);
    EXPECT_EQ(static_cast<std::size_t>(std::ranges::count(error(), '\n')), 158U);
    writer.version = std::string(254, '1');
    writer.write(file);
    EXPECT_EQ(run("validate " + file), 1);
    EXPECT_THAT(out(), ContainsRegex("version-unusable.*package-name-unusable"));
    writer.version = std::string(24 << 20, '1');
    writer.write(file);
    EXPECT_EQ(run("validate " + file), 2);
    EXPECT_THAT(out(), HasSubstr("incomplete: The report is too long"));
    writer.version = "1";
    writer.files.front().missingBytes = 0x7fffffff;
    writer.files.resize(5'000, writer.files.front());
    writer.write(file);
    EXPECT_EQ(run("validate " + file), 2);
    EXPECT_THAT(out(), HasSubstr("incomplete: Couldn't unpack package: no room for "));
    // Of the names of one file the first says that it is empty, and the last has the content.
    writer.files = {{"/usr/share/org.example.app/", "a", 0100644, "", 7, -5000},
                    {"/usr/share/org.example.app/", "b", 0100644, std::string(5000, 'x'), 7}};
    writer.write(file);
    EXPECT_EQ(run("validate " + file), 2);
    EXPECT_THAT(out(), HasSubstr("its files take more than its header says"));
}

TEST_F(KelpCtlTest, LeavesARunningJudgesFilesAndKeepsLongReportsOnDisk) {
    const KelpCtl::Workspace running(temporary_);
    KelpCtl::Workspace::clearLeft(temporary_);
    EXPECT_FALSE(fs::is_empty(temporary_));
    const NoMoreFiles noMore;
    EXPECT_THROW(KelpCtl::Spool().append(std::string(100'000, 'x')), std::runtime_error);
    // A judge that a package has taken over claims gigabytes.
    KelpCtl::FrameReader frames;
    frames.add(std::string("\4\0\0\0\377\377\377\377", 8));
    EXPECT_THROW(frames.next(), std::runtime_error);
}

TEST_F(KelpCtlTest, ShowsNoTextAsALineOrASequenceOfItsOwn) {
    const std::pair<const char *, const char *> rows[] = {
        {"a\nb.rpm: accepted", "a\\x0ab.rpm: accepted"},
        {"\033[32m\x7f\t\\x", "\\x1b[32m\\x7f\\x09\\\\x"},
        {"\u00e9\u0085\u202e\u2028", "\u00e9\\u{0085}\\u{202e}\\u{2028}"},
        {"\xff\xed\xa0\x80\xe2\x80", "\\xff\\xed\\xa0\\x80\\xe2\\x80"}};
    RpmWriter writer;
    std::string files = (root_.path() / "hostile.rpm").string();
    for (const auto &[name, shown] : rows) {
        writer.files.push_back({"/opt/", name});
        files += " '../" + std::string(name) + "'";
    }
    writer.write(root_.path() / "hostile.rpm");
    // As a pattern of the shell gives file names.
    for (const auto &[name, shown] : rows) {
        EXPECT_EQ(run("validate '--" + std::string(name) + "' sound.rpm"), 2);
        EXPECT_THAT(error(), HasSubstr(shown));
    }
    for (const std::string form : {"text", "report"}) {
        EXPECT_EQ(run("validate --output " + form + " " + files), 2);
        for (const auto &[name, shown] : rows)
            for (const std::string place : {"../", "/opt/"})
                EXPECT_THAT(out() + error(), HasSubstr(place + shown)) << form;
    }
    // In the core's log as well.
    const fs::path version = root_.path() / "opt/\033[2J/p/1";
    writeFile(root_.path() / "etc/kelp/kelp.conf", "[kelp]\ndatabase_directory=/opt/\033[2J\n");
    writeFile(version / "velura.pkg", "[general]\nid=p\nversion=1\n[certificate]\nid=K\nsubgroup=mdm\n");
    fs::create_directories(version / "symlink.list");
    fs::create_symlink("1", version.parent_path() / "current");
    run("files p");
    EXPECT_THAT(error(), AllOf(HasSubstr("\\x1b[2J"), Not(HasSubstr("\033"))));
}

TEST_F(KelpCtlTest, WrapsByColumnsAndKeepsPathsWhole) {
    const std::pair<const char *, const char *> rows[] = {
        {"  ab /usr/share/app-name/file.txt c", "  ab\n  /usr/share/app-name/file.txt\n  c"},
        {"漢字の名前 is wide", "漢字の名\n前 is\nwide"},
        {"e\u0301e\u0301e\u0301 e\u0301e\u0301e\u0301e\u0301",
         "e\u0301e\u0301e\u0301 e\u0301e\u0301e\u0301e\u0301"},
        {"a  b  c d e f g", "a  b  c\n      d\n      e\n      f\n      g"}};
    for (const auto &[text, lines] : rows)
        EXPECT_EQ(KelpCtl::wrapped(text, 8), lines);
}

TEST_F(KelpCtlTest, KeepsTreesWhereNobodyPutAnything) {
    const fs::path kept = root_.path() / "kept";
    EXPECT_EQ(run("validate --keep '" + kept.string() + "' sound.rpm"), 0);
    EXPECT_TRUE(fs::exists(kept / "org.example.sound-1-1/manifest/org.example.sound.desktop"));
    EXPECT_EQ(run("validate --keep '" + kept.string() + "' sound.rpm"), 2) << "would mix two trees";
    fs::remove_all(kept / "org.example.sound-1-1");
    fs::create_symlink(root_.path() / "elsewhere", kept / "org.example.sound-1-1");
    EXPECT_EQ(run("validate --keep '" + kept.string() + "' sound.rpm"), 2);
    EXPECT_FALSE(fs::exists(root_.path() / "elsewhere"));
}

TEST_F(KelpCtlTest, ReportsDependNeitherOnOtherProfilesNorOnJobs) {
    const std::string bytes = readFile(sound), cut = (root_.path() / "cut.rpm").string();
    writeFile(cut, bytes.substr(0, bytes.size() / 2));
    std::string each;
    for (const char *profile :
         {"regular", "extended", "mdm", "antivirus", "auth", "market", "systemapp", "pwa"}) {
        run("validate --output jsonl faulty.rpm --profile " + std::string(profile));
        each += out();
    }
    EXPECT_EQ(run("validate --output jsonl --profile all faulty.rpm"), 1);
    EXPECT_EQ(out(), each);
    std::string names = " faulty.rpm";
    for (int i = 0; i < 3; ++i)
        names += " sound.rpm " + cut;
    for (const auto &[form, jobs] :
         {std::pair("text", "auto"), {"report", "3"}, {"json", "3"}, {"sarif", "3"}}) {
        const std::string profile = std::string(form) == "text" ? "all" : "mdm";
        const std::string command = "validate" + names + " --output " + form + " --profile " + profile;
        EXPECT_EQ(run(command), 2);
        const std::string byOne = out() + error();
        EXPECT_EQ(run(command + " --jobs " + jobs), 2);
        EXPECT_TRUE(out() + error() == byOne) << form;
    }
}

TEST_F(KelpCtlTest, TakesPackagesFromDirectoriesAndLists) {
    const fs::path stock = root_.path() / "stock", list = root_.path() / "list";
    for (const char *name : {"b.rpm", "a/z.rpm", "a.rpm", "x\ny.rpm"}) {
        fs::create_directories((stock / name).parent_path());
        fs::copy_file(sound, stock / name);
    }
    std::string source = readFile(sound);
    source.at(7) = 1;
    writeFile(stock / "source.rpm", source);
    writeFile(stock / "text", "no package");
    fs::create_directory_symlink("/", stock / "root");
    fs::create_symlink("a.rpm", stock / "link.rpm");
    const std::string at = stock.string() + '/', end = ".rpm: accepted\n";
    EXPECT_EQ(run("validate --output report " + stock.string()), 0);
    EXPECT_EQ(out(), at + "a" + end + at + "a/z" + end + at + "b" + end + at + "x\\x0ay" + end);
    EXPECT_THAT(error(), HasSubstr("stock: 1 source packages passed over\n"));
    writeFile(list, at + "b.rpm\n\n" + at + "a.rpm");
    EXPECT_EQ(run("validate --output report sound.rpm --files-from - <" + list.string()), 0);
    EXPECT_EQ(out(), "sound" + end + at + "b" + end + at + "a" + end);
    writeFile(list, at + "x\ny.rpm" + '\0' + at + "b.rpm");
    EXPECT_EQ(run("validate --output report --null --files-from " + list.string()), 0);
    EXPECT_EQ(out(), at + "x\\x0ay" + end + at + "b" + end);
    EXPECT_EQ(run("validate sound.rpm " + home_.string()), 2);
    EXPECT_THAT(error(), HasSubstr("home holds no packages\n"));
    // No path leads to what lies deeper.
    const std::string deep = "a && for i in $(seq 21); do mkdir $(printf %0200d) && cd -P 0*; done";
    ASSERT_EQ(std::system(("cd " + at + deep).c_str()), 0);
    EXPECT_EQ(run("validate " + stock.string()), 2);
    EXPECT_THAT(error(), HasSubstr(" cannot be read: File name too long\n"));
}

TEST_F(KelpCtlTest, ResumesWithoutJudgingAgain) {
    const fs::path file = root_.path() / "reports";
    const std::string cut = (root_.path() / "cut.rpm").string(), resume = " --resume " + file.string();
    writeFile(cut, readFile(sound) + 'x');
    const std::string pipe = (root_.path() / "pipe").string();
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    struct Row {
        std::string arguments;
        int status;
        std::ptrdiff_t added; ///< Lines.
        std::string end = {}; ///< What a run has left behind them.
    };
    const Row rows[] = {
        {"sound.rpm sound.rpm", 0, 1},
        {"sound.rpm faulty.rpm", 1, 1},
        {"sound.rpm faulty.rpm", 1, 0, "{\"format\":1,\"kel"},
        {"sound.rpm", 0, 0, "{\"fo"},
        {"sound.rpm --profile all", 0, 7},
        {"sound.rpm --profile mdm", 1, 0},
        {"sound.rpm --hide directory-empty", 0, 1},
        {"sound.rpm --os-version 5.0 --jobs 2", 0, 1},
        {"sound.rpm --developer-mode", 0, 1},
        {cut, 2, 1},
        {cut + " sound.rpm", 2, 1},
        {pipe + " sound.rpm", 2, 1},
        {"sound.rpm --output jsonl", 2, 0},
    };
    for (const Row &row : rows) {
        const std::string before = fs::exists(file) ? readFile(file) : "";
        writeFile(file, before + row.end);
        EXPECT_EQ(run("validate " + row.arguments + resume, "timeout 60"), row.status)
            << row.arguments << error();
        EXPECT_EQ(out(), "");
        const std::string after = readFile(file);
        EXPECT_EQ(after.substr(0, before.size()), before) << row.arguments;
        EXPECT_EQ(std::ranges::count(after, '\n') - std::ranges::count(before, '\n'), row.added)
            << row.arguments;
    }
    EXPECT_EQ(run("validate sound.rpm --resume " + pipe, "timeout 60"), 2) << "it has no end";
    for (const char *foreign : {"notes", "notes\n", "{}\n"}) {
        writeFile(file, foreign);
        EXPECT_EQ(run("validate sound.rpm" + resume), 2) << foreign;
        EXPECT_EQ(readFile(file), foreign);
    }
}

TEST_F(KelpCtlTest, EndsAJudgeThatHangs) {
    using namespace Validator;
    KelpCtl::JudgeOptions options{{std::make_shared<Config>(Profile::Regular, Target{})}};
    options.grace = {};
    KelpCtl::PackageSource source({sound, sound, sound}, {});
    std::string reports;
    const auto take = [&](const KelpCtl::PackageReport &report) {
        options.timeout.reset();
        // The judge of the first hangs when it gets the second, for which alone there is no time.
        const std::string children = readFile("/proc/thread-self/children");
        if (reports.empty() &&
            ::kill(std::stoi(children.substr(children.rfind(' ', children.size() - 2) + 1)), SIGSTOP) == 0)
            options.timeout.emplace(0);
        reports += nameOf(report.verdict) + report.reason + ',';
        return true;
    };
    KelpCtl::JudgePool(options).run(source, {take, {}});
    EXPECT_EQ(reports, "accepted,incompleteIt takes longer than 0 seconds,accepted,");
}

TEST_F(KelpCtlTest, LosesOnePackageByTheEndOfItsJudgeAndNothingByItsOwn) {
    const std::string large = (root_.path() / "large.rpm").string(), first = "sound.rpm: accepted\n";
    writeLarge(large);
    const std::string isBusy = "test -e " + temporary_.string() + "/kelpctl-*/tree/data/110.qml";
    const std::string isClean = "test -z \"$(ls -A " + temporary_.string() + ")\"";
    const std::string judge = "$(cat /proc/$!/task/$!/children)", form = "--output report";
    const std::string resume = "--resume " + (root_.path() / "reports").string();
    // What befalls the judge, the package or the run in the midst of it. After the first two the run goes on.
    const std::array<std::string, 3> rows[] = {
        {form, "kill -KILL " + judge, "Its judge was ended by the signal SIGKILL\n"},
        {form, "touch " + large, "The package file has changed meanwhile\n"},
        {form, "kill -INT $!"},
        {form, "kill -HUP $!"},
        {resume, "j=" + judge + "; kill -STOP $j; kill -KILL $!; wait $!; " KELPCTL " validate sound.rpm " +
                     resume + " && printf '" + first + "' >" + out_.string() + "; kill -CONT $j"},
    };
    for (const auto &[options, act, reason] : rows) {
        const int status =
            run("validate sound.rpm " + large + " sound.rpm " + options + " >" + out_.string() +
                    " 2>/dev/null & for i in $(seq 9999); do " + isBusy + " && break; sleep 0.001; done; " +
                    act + "; wait $!; s=$?; for i in $(seq 999); do " + isClean +
                    " && break; sleep 0.01; done; exit $s #",
                "env --default-signal=HUP,INT");
        EXPECT_EQ(status > 2, reason.empty()) << act;
        EXPECT_EQ(out(), reason.empty() ? first : first + large + ": incomplete: " + reason + first) << act;
    }
}

} // namespace
