#include "kelpctl/mend/commands.h"
#include "kelpctl/shown-text.h"
#include "kelpctl/validate/report-output.h"

#include "kelp/core/common/configuration.h"
#include "kelp/core/common/errors/error-category.h"
#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/writer-lock.h"
#include "kelp/core/kelp/mending/installation.h"
#include "kelp/core/kelp/mending/removal.h"
#include "kelp/core/kelp/mending/repair.h"
#include "kelp/core/kelp/validator/framework/logger.h"

#include <CLI/CLI.hpp>

#include <unistd.h>

#include <algorithm>
#include <iostream>
#include <optional>

namespace KelpCtl {

namespace {

using Common::ErrorCategory;
using Common::ErrorCode;
using Common::WriterLock;
using Core::Configuration;
using Core::KELP::InstallationOptions;
using Core::KELP::Installed;

struct InstallArguments {
    InstallationOptions options;
    bool isRepair = false;
    std::vector<std::string> names;
};

/// Whether an error is about the machine and not about what was asked for.
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

/// Calls `act`, and turns what it raises into a line and a status: the others go on.
template<class Act>
ExitStatus attempt(const std::string &name, const Act &act) {
    try {
        act();
        return ExitStatus::Accepted;
    } catch (const Common::Error &error) {
        std::cerr << "kelpctl: " << shown(name) << ": " << shown(Common::explainedText(error)) << '\n';
        // The other errors of the core are answers: not let in, or not there.
        return isTrouble(error) ? ExitStatus::Trouble : ExitStatus::Refused;
    } catch (const std::exception &error) {
        std::cerr << "kelpctl: " << shown(name) << ": " << shown(Common::explainedText(error)) << '\n';
        return ExitStatus::Trouble;
    }
}

ExitStatus install(const InstallArguments &arguments, std::ostream &output) {
    Validator::Logger::setPrinting([](const Validator::Message &finding) {
        std::cerr << findingLine(finding, STDERR_FILENO, 0) << std::endl;
    });
    // Held over all files, so that nobody else's change comes between two of them.
    std::optional<WriterLock> lock;
    // A dry run changes nothing, and the lock is a file that only root can make.
    if (!arguments.options.isDryRun)
        lock.emplace(WriterLock::Wait::No);
    const Configuration configuration(Configuration::Missing::IsFine);
    ExitStatus worst = ExitStatus::Accepted;
    for (const std::string &file : arguments.names)
        worst = std::max(worst, attempt(file, [&] {
                             const Installed installed = (arguments.isRepair ? Core::KELP::repairPackage
                                                                             : Core::KELP::installPackage)(
                                 configuration, file, arguments.options);
                             // Told at once: the next one may be interrupted, and this one is in the store by
                             // then.
                             output << shown(wordsFor(installed, arguments)) << std::endl;
                             if (!installed.isComplete)
                                 throw Common::Error(ErrorCode::Filesystem,
                                                     "not all about it is on disk: see kelpctl doctor");
                         }));
    return worst;
}

ExitStatus remove(const InstallArguments &arguments, std::ostream &output) {
    const WriterLock lock(WriterLock::Wait::No);
    const Configuration configuration(Configuration::Missing::IsFine);
    ExitStatus worst = ExitStatus::Accepted;
    for (const std::string &id : arguments.names)
        worst = std::max(worst, attempt(id, [&] {
                             const auto left = Core::KELP::removePackage(configuration, id);
                             output << shown(id) << " removed" << std::endl;
                             for (const std::filesystem::path &path : left)
                                 std::cerr << "kelpctl: " << shown(path.native())
                                           << " is somebody else's, and stays\n";
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
    install->add_option("FILE.rpm", arguments->names, "The package files")->required();
    install->callback([arguments, &command] {
        command = [arguments](std::ostream &output) { return KelpCtl::install(*arguments, output); };
    });
}

void addRemove(CLI::App &app, Command &command) {
    const auto arguments = std::make_shared<InstallArguments>();
    CLI::App *remove = app.add_subcommand("remove", "Remove applications from the store");
    remove->add_option("ID", arguments->names, "The applications")->required();
    remove->callback([arguments, &command] {
        command = [arguments](std::ostream &output) { return KelpCtl::remove(*arguments, output); };
    });
}

} // namespace KelpCtl
