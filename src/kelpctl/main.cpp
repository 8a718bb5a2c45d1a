#include "kelpctl/change/commands.h"
#include "kelpctl/command.h"
#include "kelpctl/look/commands.h"
#include "kelpctl/shown-text.h"
#include "kelpctl/validate/commands.h"

#include "kelp/core/common/errors/error-category.h"
#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/errors/log-stream.h"
#include "kelp/core/common/files/file-descriptor.h"
#include "kelp/core/common/rpm/initialise.h"
#include "kelp/core/common/stop-signals.h"

#include <sys/stat.h>

#include <cstdlib>
#include <iostream>

using KelpCtl::ExitStatus;

namespace {

/// In the order in which --help lists them.
constexpr KelpCtl::AddCommand commands[] = {
    KelpCtl::addStatus,  KelpCtl::addPlan,    KelpCtl::addList,    KelpCtl::addInfo,   KelpCtl::addFiles,
    KelpCtl::addOwner,   KelpCtl::addHistory, KelpCtl::addSources, KelpCtl::addPolicy, KelpCtl::addVerify,
    KelpCtl::addDoctor,  KelpCtl::addInstall, KelpCtl::addRemove,  KelpCtl::addReport, KelpCtl::addValidate,
    KelpCtl::addExplain, KelpCtl::addRules,
};

/// "There is nothing of the name" is an answer; any other error is a failure.
bool isAnswer(const std::exception &error) {
    const auto *ours = dynamic_cast<const Common::Error *>(&error);
    return ours && ours->code() == Common::ErrorCategory::make(Common::ErrorCode::PackageNotExist);
}

ExitStatus run(const KelpCtl::Command &command) {
    // Standard output is for the results: the core's log, which goes there, is sent to standard error.
    std::ostream output(std::cout.rdbuf(std::cerr.rdbuf()));
    ExitStatus status = ExitStatus::Trouble;
    try {
        status = command(output);
        // After a full disk half a list must not look like a whole one to a script.
        if (!output.flush()) {
            std::cerr << "kelpctl: Couldn't write to standard output\n";
            status = ExitStatus::Trouble;
        }
    } catch (const std::exception &error) {
        status = isAnswer(error) ? ExitStatus::Refused : ExitStatus::Trouble;
        // Texts of errors hold foreign paths and ids.
        std::cerr << "kelpctl: " << KelpCtl::shown(Common::explainedText(error)) << '\n';
    }
    std::cout.rdbuf(output.rdbuf());
    return status;
}

} // namespace

int main(int argc, char **argv) {
    Common::holdStandardDescriptors();
    Common::ignoreBrokenPipes();
    ::umask(022); // Files get the same modes as from the launcher.
    // To other programs, such as mktemp(1), an empty one is none.
    if (const char *const place = std::getenv("TMPDIR"); place && *place == '\0')
        ::unsetenv("TMPDIR");
    Common::LogStream::showBy(KelpCtl::shown);
    Common::Rpm::logLibrary();
    const auto request = KelpCtl::parseCommandLine(argc, argv, commands);
    if (const auto *status = std::get_if<ExitStatus>(&request))
        return static_cast<int>(*status);
    return static_cast<int>(run(std::get<KelpCtl::Command>(request)));
}
