#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/files/durable-file.h"
#include "kelp/core/common/files/file-descriptor.h"
#include "kelp/core/common/places.h"
#include "kelp/core/kelp/inspection/store-view.h"
#include "kelp/core/kelp/inspection/unread.h"
#include "kelp/core/kelp/package/database-path-resolver.h"
#include "kelp/core/kelp/package/store-entry.h"
#include "kelp/core/kelp/package/store-names.h"
#include "kelpctl/change/commands.h"
#include "kelpctl/change/report-directory.h"
#include "kelpctl/look/commands.h"
#include "kelpctl/look/machine.h"
#include "kelpctl/look/presentation.h"
#include "kelpctl/shown-text.h"

#include <CLI/CLI.hpp>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/utsname.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <functional>
#include <iostream>
#include <string>
#include <system_error>

// Collects the state of a machine in one directory, for people far away.

namespace fs = std::filesystem;

namespace KelpCtl {

namespace {

using Common::FileDescriptor;

FileDescriptor opened(int file) {
    if (file < 0)
        throw std::system_error(errno, std::system_category(), "Couldn't collect output");
    return FileDescriptor(file);
}

void flushAll() {
    std::cout.flush();
    std::cerr.flush();
    std::fflush(nullptr);
}

/// Sends both streams to a file while it lives.
class Diversion {
public:
    explicit Diversion(int file) : streams_{opened(::dup(STDOUT_FILENO)), opened(::dup(STDERR_FILENO))} {
        flushAll();
        ::dup2(file, STDOUT_FILENO);
        ::dup2(file, STDERR_FILENO);
    }
    Diversion(const Diversion &) = delete;
    Diversion &operator=(const Diversion &) = delete;
    ~Diversion() {
        flushAll();
        ::dup2(streams_[0].get(), STDOUT_FILENO);
        ::dup2(streams_[1].get(), STDERR_FILENO);
    }

private:
    std::array<FileDescriptor, 2> streams_;
};

/// Everything that `run` writes to standard output and standard error, also through libraries. Meanwhile
/// neither is a terminal. Raises std::system_error when the machine fails, and what `run` raises.
std::string capturedOutput(const std::function<void()> &run) {
    const FileDescriptor file = opened(::memfd_create("kelpctl-report", MFD_CLOEXEC));
    {
        const Diversion diversion(file.get());
        run();
    }
    std::string text;
    std::array<char, 65536> block{};
    ssize_t size = 0;
    off_t from = 0;
    while ((size = ::pread(file.get(), block.data(), block.size(), from)) > 0) {
        text.append(block.data(), static_cast<std::size_t>(size));
        from += size;
    }
    return text;
}

using Core::KELP::StoreView;
using std::string_literals::operator""s;

struct ReportArguments {
    LookOptions look;
    std::string directory;
};

// The commands whose output goes into the report, each in a file.
constexpr AddCommand lookCommands[] = {addStatus,  addPlan,   addList,  addHistory,
                                       addSources, addPolicy, addDoctor};

/// Runs the command as if it had been typed. Its failure is part of the report too.
std::string answerOf(const char *name) {
    return capturedOutput([&] {
        const std::array<const char *, 4> line = {"kelpctl", "--color", "never", name};
        const auto parsed = parseCommandLine(static_cast<int>(line.size()), line.data(), lookCommands);
        try {
            const auto status = std::get<Command>(parsed)(std::cout);
            std::cout << "exit status " << static_cast<int>(status) << '\n';
        } catch (const std::exception &error) {
            std::cout << "kelpctl: " << shown(Common::explainedText(error)) << '\n';
        }
    });
}

/// From the running system's own program, and not an image's.
std::string unitLog(const fs::path &root) {
    const std::string place = "--root=" + root.string();
    std::vector<const char *> line = {"journalctl",    "--no-pager",           "--output=short-iso",
                                      "--lines=20000", "--unit=kelp-launcher", "--unit=kelp-status"};
    if (!root.empty())
        line.push_back(place.c_str());
    line.push_back(nullptr);
    return capturedOutput([&] {
        pid_t child = 0;
        const int failure = ::posix_spawnp(&child, line.front(), nullptr, nullptr,
                                           const_cast<char *const *>(line.data()), environ);
        if (failure != 0)
            std::cout << "journalctl: " << std::system_category().message(failure) << '\n';
        else
            ::waitpid(child, nullptr, 0);
    });
}

/// Adds the file's text under its path, or the error of reading it.
void addFile(std::string &report, const fs::path &path) {
    try {
        constexpr std::uintmax_t longest = std::uintmax_t(64) << 20;
        if (const auto text = Common::readIfExists(path, longest))
            report += "== " + path.string() + '\n' + *text + (text->ends_with('\n') ? "" : "\n");
    } catch (const std::exception &error) {
        report += "== " + path.string() + ": " + Common::explainedText(error) + '\n';
    }
}

/// The entries of a directory by their names; a failure is a line of the report.
std::vector<fs::path> entriesOf(const fs::path &directory, std::string &report) {
    std::vector<fs::path> entries;
    std::error_code error;
    for (fs::directory_iterator entry(directory, error), end; !error && entry != end; entry.increment(error))
        entries.push_back(entry->path());
    if (error)
        report += directory.string() + ": " + error.message() + '\n';
    std::ranges::sort(entries);
    return entries;
}

std::string records() {
    const fs::path state = Common::rootPath() / "var/lib/kelp";
    std::string report;
    for (const fs::path &path : entriesOf(state, report)) {
        const std::string name = path.filename().string();
        constexpr std::array names = {"registry",     "takeover.journal", "takeover.failures",
                                      "installation", "removal",          "store.lock"};
        if (std::ranges::find(names, name) != names.end() || name.starts_with("registry.damaged-"))
            addFile(report, path);
    }
    for (const fs::path &path : entriesOf(state / "left-behind", report))
        addFile(report, path);
    return report;
}

/// The store's own files of each version.
std::string listsOf(const Machine &machine) {
    const Core::KELP::DatabasePathResolver resolver(machine.configuration());
    std::string report;
    for (const auto &package : StoreView(machine.configuration()).packages())
        for (const std::string &version : Core::KELP::StoreEntry(resolver, package.id).content().own)
            for (const char *name : Core::KELP::StoreName::files)
                addFile(report, resolver.versionDirectory(package.id, version) / name);
    return report;
}

std::string lineOf(const fs::path &path) {
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0)
        return path.string() + ": " + std::system_category().message(errno) + '\n';
    char facts[96];
    std::snprintf(facts, sizeof facts, "%06o %u:%u %lld ", status.st_mode, status.st_uid, status.st_gid,
                  static_cast<long long>(status.st_mtime));
    std::error_code error;
    const std::string text = S_ISLNK(status.st_mode) ? " -> " + fs::read_symlink(path, error).string() : "";
    return facts + path.string() + text + '\n';
}

/// No contents: a file at an unexpected place is often the fault.
std::string placesOf(const Machine &machine) {
    const fs::path root = Common::rootPath();
    const fs::path store = machine.configuration().databaseDirectory();
    std::string report;
    for (const fs::path &place :
         {root / "var/lib/kelp", root / "var/lib/trusted-sources", root / "opt/kelp", root / "opt/kelp/tmp",
          root / "opt/kelp/install", root / "opt/kelp/rescued", store}) {
        report += lineOf(place);
        for (const fs::path &path : entriesOf(place, report)) {
            report += lineOf(path);
            std::error_code error;
            if (place == store && fs::is_directory(fs::symlink_status(path, error)))
                for (const fs::path &entry : entriesOf(path, report))
                    report += lineOf(entry);
        }
    }
    return report;
}

std::string versions() {
    std::string report = "kelpctl " KELP_VERSION "\n";
    utsname system{};
    if (::uname(&system) == 0)
        report += system.sysname + " "s + system.release + " " + system.machine + '\n';
    for (const char *path : {"etc/os-release", "etc/rpm/platform", "etc/kelp/kelp.conf",
                             "var/lib/developer-moded/developer-moded.conf"})
        addFile(report, Common::rootPath() / path);
    return report;
}

/// Directories with people's files.
std::vector<std::string> homes() {
    const std::string root = Common::rootPath().lexically_normal().native();
    const std::string prefix = root.ends_with('/') ? root.substr(0, root.size() - 1) : root;
    std::vector<std::string> all = {"/home", "/root"};
    if (!prefix.empty())
        all.insert(all.end(), {prefix + "/home", prefix + "/root"});
    return all;
}

ExitStatus report(const ReportArguments &arguments, std::ostream &output) {
    ReportDirectory directory(arguments.directory);
    // Before the change of root: after it the program may be missing, or be an image's.
    const std::string log = unitLog(arguments.look.root);
    const Machine machine(arguments.look);
    directory.leaveOut(homes());
    directory.write("log.txt", log);
    for (const char *name : {"status", "plan", "doctor", "list", "history", "sources", "policy"})
        directory.write(name + ".txt"s, answerOf(name));
    ExitStatus status = ExitStatus::Accepted;
    const auto add = [&](const char *name, const auto &collect) {
        Core::KELP::Unread unread;
        const auto text = unread.attempt(collect);
        status = tellUnread(unread, status);
        directory.write(name, text ? *text : unread.texts().front() + '\n');
    };
    add("versions.txt", versions);
    add("records.txt", records);
    add("lists.txt", [&] { return listsOf(machine); });
    add("places.txt", [&] { return placesOf(machine); });
    output << "The report is in " << shown(arguments.directory)
           << ". Look through it before you hand it on: it names the machine's applications.\n";
    return status;
}

} // namespace

void addReport(CLI::App &app, Command &command) {
    const auto arguments = std::make_shared<ReportArguments>();
    CLI::App *report = app.add_subcommand("report", "Collect what a bug report needs");
    addRootOption(*report, arguments->look);
    report->add_option("DIR", arguments->directory, "The directory to make")->required()->option_text(" ");
    report->callback([arguments, &command] {
        command = [arguments](std::ostream &output) { return KelpCtl::report(*arguments, output); };
    });
}

} // namespace KelpCtl
