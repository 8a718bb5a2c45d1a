#include "kelpctl/change/commands.h"
#include "kelpctl/explanations/shown-finding.h"
#include "kelpctl/file-kind.h"
#include "kelpctl/shown-text.h"

#include "kelp/core/common/configuration.h"
#include "kelp/core/common/errors/error-category.h"
#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/rpm/initialise.h"
#include "kelp/core/common/writer-lock.h"
#include "kelp/core/kelp/incoming/rpm-package.h"
#include "kelp/core/kelp/installing/installation.h"
#include "kelp/core/kelp/installing/removal.h"
#include "kelp/core/kelp/installing/repair.h"
#include "kelp/core/kelp/validator/framework/logger.h"

#include <CLI/CLI.hpp>
#include <boost/json.hpp>

#include <unistd.h>

#include <algorithm>
#include <iostream>
#include <optional>

namespace KelpCtl {

namespace {

namespace json = boost::json;
using Common::ErrorCategory;
using Common::ErrorCode;
using Common::WriterLock;
using Core::Configuration;
using Core::KELP::InstallationOptions;
using Core::KELP::Installed;

struct InstallArguments {
    InstallationOptions options;
    bool isRepair = false;
    bool isJson = false;
    std::vector<std::string> names;
};

/// Whether the code of an error is that of a failing machine, or of a file that is no package.
bool isTrouble(const Common::Error &error) {
    return error.code() == ErrorCategory::make(ErrorCode::FileNotFound) ||
           error.code() == ErrorCategory::make(ErrorCode::Filesystem) ||
           error.code() == ErrorCategory::make(ErrorCode::UnauthorizedAccess) ||
           error.code() == ErrorCategory::make(ErrorCode::BadPackageFileFormat);
}

std::string wordsFor(const Installed &installed, const InstallArguments &arguments) {
    const InstallationOptions &options = arguments.options;
    const std::string name = installed.id + " " + installed.version;
    if (arguments.isRepair)
        return name + (options.isDryRun ? " would be repaired" : " repaired");
    return name + (options.isDryRun ? " would be installed" : " installed") +
           (installed.previousVersion.empty() ? "" : " in place of " + installed.previousVersion);
}

/// The result for a package, for a tool; an empty member becomes null.
struct Happening {
    const char *event;
    std::string id = {};
    std::string version = {};
    std::string path = {};
    std::string reason = {};
};

/// A line for each, at once: this package is in the store, and the next may be interrupted.
void writeJson(std::ostream &output, const Happening &happening) {
    const auto value = [](const std::string &text) {
        return text.empty() ? json::value() : json::value(jsonText(text));
    };
    output << json::object{{"event", happening.event},
                           {"id", value(happening.id)},
                           {"version", value(happening.version)},
                           {"path", value(happening.path)},
                           {"reason", value(happening.reason)}}
           << std::endl;
}

/// The fields that tell a tool which file it was. An unreadable file has only its name.
Happening subjectOf(const std::string &file) {
    try {
        const auto package = Core::KELP::RpmPackage::fromFile(file, {});
        return {"", package.id(), package.version(), file};
    } catch (const std::exception &) {
        return {"", "", "", file};
    }
}

/// The stream for findings as JSON. The validator's sink is a plain function and cannot hold it.
std::ostream *findingsOutput = nullptr;

void tellFinding(const Validator::Message &finding) {
    if (findingsOutput)
        writeJson(*findingsOutput, {"finding", "", "", finding.path, finding.text});
    else
        std::cerr << findingLine(finding, STDERR_FILENO, 0) << std::endl;
}

/// Calls `act`, and turns its exception into a line and a status, so that the others go on.
template<class Act>
ExitStatus attempt(const InstallArguments &arguments, const Happening &subject, std::ostream &output,
                   const Act &act) {
    const std::string &name = subject.path.empty() ? subject.id : subject.path;
    ExitStatus status = ExitStatus::Trouble;
    std::string reason;
    try {
        act();
        return ExitStatus::Accepted;
    } catch (const Common::Error &error) {
        reason = Common::explainedText(error);
        // Any other error of the core counts as an answer: not let in, or not there.
        status = isTrouble(error) ? ExitStatus::Trouble : ExitStatus::Refused;
    } catch (const std::exception &error) {
        reason = Common::explainedText(error);
    }
    std::cerr << "kelpctl: " << shown(name) << ": " << shown(reason) << '\n';
    if (arguments.isJson)
        writeJson(output, {status == ExitStatus::Refused ? "refused" : "failed", subject.id, subject.version,
                           subject.path, reason});
    return status;
}

/// Otherwise the refusal would name a missing tag, and not tell what the file is.
void requireNoOtherKind(const std::string &file) {
    if (const std::string advice = adviceOn(kindOf(file)); !advice.empty())
        throw Common::Error(ErrorCode::BadPackageFileFormat, advice);
}

const char *eventOf(const InstallArguments &arguments, const Installed &installed) {
    if (arguments.options.isDryRun)
        return "accepted";
    if (arguments.isRepair)
        return "repaired";
    return installed.previousVersion.empty() ? "installed" : "updated";
}

void tellInstalled(const InstallArguments &arguments, const std::string &file, const Installed &installed,
                   std::ostream &output) {
    if (arguments.isJson)
        writeJson(output,
                  {eventOf(arguments, installed), installed.id, installed.version, file,
                   installed.previousVersion.empty() ? "" : "in place of " + installed.previousVersion});
    else
        // Printed at once: this one is in the store, and the next may be interrupted.
        output << shown(wordsFor(installed, arguments)) << std::endl;
}

ExitStatus install(const InstallArguments &arguments, std::ostream &output) {
    findingsOutput = arguments.isJson ? &output : nullptr;
    Validator::Logger::setPrinting(tellFinding);
    Common::Rpm::giveBackLargeBlocks();
    // Held over all files, so that no other process changes the store between two files.
    std::optional<WriterLock> lock;
    // A dry run changes nothing, and the lock is a file that only root can make.
    if (!arguments.options.isDryRun)
        lock.emplace(WriterLock::Wait::No);
    const Configuration configuration(Configuration::Missing::IsFine);
    ExitStatus worst = ExitStatus::Accepted;
    for (const std::string &file : arguments.names)
        worst = std::max(
            worst,
            attempt(arguments, arguments.isJson ? subjectOf(file) : Happening{"", "", "", file}, output, [&] {
                requireNoOtherKind(file);
                const Installed installed =
                    (arguments.isRepair ? Core::KELP::repairPackage
                                        : Core::KELP::installPackage)(configuration, file, arguments.options);
                tellInstalled(arguments, file, installed, output);
                if (!installed.isComplete)
                    throw Common::Error(ErrorCode::Filesystem,
                                        "not all about it is on disk: see kelpctl doctor");
            }));
    return worst;
}

void tellRemoved(const InstallArguments &arguments, const std::string &id,
                 const std::vector<std::filesystem::path> &left, std::ostream &output) {
    if (arguments.isJson)
        writeJson(output, {"removed", id});
    else
        output << shown(id) << " removed" << std::endl;
    for (const std::filesystem::path &path : left)
        if (arguments.isJson)
            writeJson(output, {"kept", id, "", path.native(), "is somebody else's, and stays"});
        else
            std::cerr << "kelpctl: " << shown(path.native()) << " is somebody else's, and stays\n";
}

ExitStatus remove(const InstallArguments &arguments, std::ostream &output) {
    const WriterLock lock(WriterLock::Wait::No);
    const Configuration configuration(Configuration::Missing::IsFine);
    ExitStatus worst = ExitStatus::Accepted;
    for (const std::string &id : arguments.names)
        worst = std::max(worst, attempt(arguments, {"", id}, output, [&] {
                             tellRemoved(arguments, id, Core::KELP::removePackage(configuration, id), output);
                         }));
    return worst;
}

} // namespace

void addInstall(CLI::App &app, Command &command) {
    const auto arguments = std::make_shared<InstallArguments>();
    CLI::App *install = app.add_subcommand("install", "Bring package files into the store");
    CLI::Option *repair =
        install->add_flag("--repair", arguments->isRepair, "Bring back the files of the installed versions");
    install->add_flag("--dry-run", arguments->options.isDryRun, "Only tell whether they would be let in");
    install
        ->add_flag("--allow-downgrade", arguments->options.isDowngradeAllowed,
                   "Let older versions take the place of newer ones")
        ->excludes(repair);
    install->add_flag("--json", arguments->isJson, "Write JSON, an object a line as things happen");
    install->add_option("FILE.rpm", arguments->names, "The package files")->required();
    install->callback([arguments, &command] {
        command = [arguments](std::ostream &output) { return KelpCtl::install(*arguments, output); };
    });
}

void addRemove(CLI::App &app, Command &command) {
    const auto arguments = std::make_shared<InstallArguments>();
    CLI::App *remove = app.add_subcommand("remove", "Remove applications from the store");
    remove->add_flag("--json", arguments->isJson, "Write JSON, an object a line as things happen");
    remove->add_option("ID", arguments->names, "The applications")->required();
    remove->callback([arguments, &command] {
        command = [arguments](std::ostream &output) { return KelpCtl::remove(*arguments, output); };
    });
}

} // namespace KelpCtl
