#include "kelpctl/shown-text.h"
#include "kelpctl/validate/commands.h"
#include "kelpctl/validate/interruption.h"
#include "kelpctl/validate/package-judge.h"
#include "kelpctl/validate/report-output.h"

#include "kelp/core/common/platform-facts.h"
#include "kelp/core/kelp/validator/all-findings.h"
#include "kelp/core/kelp/validator/configuration/profile.h"
#include "kelp/core/kelp/validator/data/os-compatibility.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <iostream>

namespace KelpCtl {

namespace {

using Validator::LogLevel;
using Validator::Profile;

constexpr const char *allProfiles = "all";

const std::vector<std::string> profileNames{"regular", "extended", "mdm",       "antivirus",
                                            "auth",    "market",   "systemapp", "pwa"};

struct OutputForm {
    const char *name;
    std::unique_ptr<ReportOutput> (*make)(std::ostream &output);
};

constexpr OutputForm outputForms[] = {{"text", textOutput},     {"report", linesOutput},
                                      {"json", jsonOutput},     {"sarif", sarifOutput},
                                      {"gitlab", gitlabOutput}, {"junit", junitOutput}};

struct ValidateArguments {
    std::vector<std::string> files;
    std::string profile = "regular";
    std::string osVersion;
    bool developerMode = false;
    std::string failOn = "error";
    std::vector<std::string> hidden;
    std::string overrides;
    std::string output = "text";
    bool isExplaining = false;
    std::string keep;
    std::optional<std::uint64_t> mostUnpacked;
    std::optional<std::uint32_t> timeout;
};

std::string checkVersion(const std::string &text) {
    return Validator::parseVersion(text).empty() ? "A version is numbers with full stops between: " + text
                                                 : "";
}

/// The version of the image that KELP_ROOT_FS names. The machine on which packages are made says nothing
/// about the one for which they are.
std::optional<std::string> versionOfImage() {
    if (std::getenv("KELP_ROOT_FS") == nullptr)
        return std::nullopt;
    try {
        const std::string version = Common::osVersion();
        return Validator::parseVersion(version).empty() ? std::nullopt : std::optional(version);
    } catch (const std::exception &) {
        return std::nullopt;
    }
}

JudgeOptions optionsOf(const ValidateArguments &arguments) {
    JudgeOptions options;
    const Validator::Target target{!arguments.developerMode, arguments.osVersion.empty()
                                                                 ? versionOfImage()
                                                                 : std::optional(arguments.osVersion)};
    const bool isForAll = arguments.profile == allProfiles;
    for (const std::string &name : isForAll ? profileNames : std::vector{arguments.profile})
        options.profiles.push_back(
            std::make_shared<Validator::Config>(Validator::profileFromName(name), target));
    options.keep = arguments.keep;
    options.mostUnpacked = arguments.mostUnpacked;
    if (arguments.timeout)
        options.timeout = std::chrono::seconds(*arguments.timeout);
    if (!arguments.overrides.empty())
        options.overrides = readOverrides(arguments.overrides);
    options.hidden.insert(arguments.hidden.begin(), arguments.hidden.end());
    return options;
}

/// Incomplete is worse than refused: what could not be judged must not end a build as a mere "no".
ExitStatus statusOf(const PackageReport &report, const ValidateArguments &arguments) {
    if (report.verdict == Verdict::Incomplete)
        return ExitStatus::Trouble;
    const bool hasWarning = report.counts.contains(LogLevel::Warning);
    const bool fails = report.verdict == Verdict::Refused || (hasWarning && arguments.failOn == "warning");
    return fails ? ExitStatus::Refused : ExitStatus::Accepted;
}

/// Whatever an rpm of this name would read of the home directory, or make there, is nobody's target.
void leaveHome() {
    ::setenv("HOME", "/nonexistent", 1);
    ::unsetenv("XDG_CONFIG_HOME");
}

/// One file under the profiles that were asked for: of several, the best verdict counts.
ExitStatus judgeFile(const std::string &file, const ValidateArguments &arguments, const JudgeOptions &options,
                     ReportOutput &output, std::set<std::size_t> &usedOverrides) {
    ExitStatus best = ExitStatus::Trouble;
    const std::vector<PackageReport> reports = judgePackage(file, options);
    // A package without entries, or that cannot be read, asks for no verdict.
    Interruption::check();
    for (const PackageReport &report : reports) {
        output.write(report);
        usedOverrides.insert(report.usedOverrides.begin(), report.usedOverrides.end());
        best = std::min(best, statusOf(report, arguments));
    }
    return best;
}

ExitStatus validate(const ValidateArguments &arguments, std::ostream &results) {
    // In front of all that uses librpm, which reads its configuration once.
    leaveHome();
    // A limit on the size of files may not leave trees behind.
    std::signal(SIGXFSZ, SIG_IGN);
    const auto form = std::ranges::find(outputForms, arguments.output, &OutputForm::name);
    const auto output = arguments.isExplaining ? explainingOutput(results) : form->make(results);
    JudgeOptions options = optionsOf(arguments);
    options.lineOf = output->lineOf();
    std::set<std::size_t> usedOverrides;
    ExitStatus worst = ExitStatus::Accepted;
    try {
        // Within the block: the handlers are the old ones again when the program ends by the signal.
        const Interruption interruption;
        for (const std::string &file : arguments.files)
            worst = std::max(worst, judgeFile(file, arguments, options, *output, usedOverrides));
    } catch (const Interrupted &) {
        Interruption::die();
    }
    output->finish();
    // What could not be judged to the end may have what they are for.
    if (worst != ExitStatus::Trouble)
        tellUnused(options.overrides, usedOverrides, arguments.overrides);
    return worst;
}

/// What the package is held against.
void addTarget(CLI::App &validate, ValidateArguments &arguments) {
    std::vector<std::string> profiles = profileNames;
    profiles.emplace_back(allProfiles);
    validate
        .add_option("--profile", arguments.profile, "The kind of package that the developer may make, or all")
        ->check(CLI::IsMember(profiles))
        ->option_text("NAME (regular)");
    validate
        .add_option("--os-version", arguments.osVersion,
                    "The version of the system to hold the manifest against")
        ->check(CLI::Validator(checkVersion, "VERSION"))
        ->option_text("VERSION");
    validate.add_flag("--developer-mode", arguments.developerMode,
                      "Judge as if the developer mode let errors pass");
}

/// What it may cost.
void addBounds(CLI::App &validate, ValidateArguments &arguments) {
    validate
        .add_option("--max-unpacked", arguments.mostUnpacked,
                    "Judge no package whose files take more bytes together; K, M and G may follow")
        ->transform(CLI::AsSizeValue(false))
        ->option_text("SIZE");
    validate
        .add_option("--timeout", arguments.timeout, "Judge no package to the end for which this is too short")
        ->check(CLI::PositiveNumber)
        ->option_text("SECONDS");
}

/// What is said of it.
void addReport(CLI::App &validate, ValidateArguments &arguments) {
    validate
        .add_option("--fail-on", arguments.failOn, "With \"warning\", exit with status 1 for warnings too")
        ->check(CLI::IsMember({"error", "warning"}))
        ->option_text("LEVEL (error)");
    // One id for each option, or the package files behind it would be taken for more ids.
    validate.add_option("--hide", arguments.hidden, "Do not report this warning or note; may be repeated")
        ->check(CLI::Validator(objectionToSilence, "ID"))
        ->option_text("ID")
        ->allow_extra_args(false);
    validate
        .add_option("--overrides", arguments.overrides,
                    "Do not count the warnings and notes that FILE names: id, pattern of paths, reason")
        ->option_text("FILE");
    auto *output = validate
                       .add_option("--output", arguments.output,
                                   "The form of the report: text, report, json, sarif, gitlab or junit")
                       ->check(CLI::IsMember({"text", "report", "json", "sarif", "gitlab", "junit"}))
                       ->option_text("FORM (text)");
    validate.add_flag("--explain", arguments.isExplaining, "Show how to mend each finding")->excludes(output);
    validate.add_option("--keep", arguments.keep, "Keep what was unpacked of each in DIR/ID-VERSION")
        ->option_text("DIR");
    validate.add_option("FILE.rpm", arguments.files, "The package files")->required()->option_text("");
}

} // namespace

void addValidate(CLI::App &app, Command &command) {
    const auto arguments = std::make_shared<ValidateArguments>();
    CLI::App *validate = app.add_subcommand("validate", "Judge packages as their installation would");
    addTarget(*validate, *arguments);
    addBounds(*validate, *arguments);
    addReport(*validate, *arguments);
    validate->callback([arguments, &command] {
        command = [arguments](std::ostream &output) { return KelpCtl::validate(*arguments, output); };
    });
}

} // namespace KelpCtl
