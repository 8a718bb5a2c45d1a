#include "kelpctl/shown-text.h"
#include "kelpctl/validate/commands.h"
#include "kelpctl/validate/judge-pool.h"
#include "kelpctl/validate/judged-before.h"
#include "kelpctl/validate/package-judge.h"
#include "kelpctl/validate/report-output.h"
#include "kelpctl/validate/run/interruption.h"
#include "kelpctl/validate/run/machine-limits.h"
#include "kelpctl/validate/run/package-source.h"

#include "kelp/core/common/platform-facts.h"
#include "kelp/core/kelp/validator/catalogue.h"
#include "kelp/core/kelp/validator/configuration/profile.h"
#include "kelp/core/kelp/validator/data/os-compatibility.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <charconv>
#include <csignal>
#include <cstdlib>
#include <iostream>
#include <limits>

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

constexpr const char *jsonLines = "jsonl";

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
    std::string jobs = "1";
    std::string list; ///< A file of package files; empty for none.
    bool hasZeros = false;
    std::string resumed; ///< A file of earlier reports; empty for none.
};

constexpr const char *autoJobs = "auto";
constexpr std::size_t mostJobs = 1024;

/// Whether the text is a number from 1 to `most`, in digits alone.
bool isNumber(const std::string &text, std::uint64_t most) {
    const char *const end = text.data() + text.size();
    std::uint64_t number = 0;
    const auto read = std::from_chars(text.data(), end, number);
    return read.ec == std::errc() && read.ptr == end && number > 0 && number <= most;
}

std::string checkJobs(const std::string &text) {
    return text == autoJobs || isNumber(text, mostJobs)
               ? ""
               : "A number of jobs is auto, or from 1 to " + std::to_string(mostJobs) + ": " + text;
}

std::string checkSeconds(const std::string &text) {
    constexpr std::uint64_t most = std::numeric_limits<std::uint32_t>::max();
    return isNumber(text, most)
               ? ""
               : "A time limit is a number of seconds from 1 to " + std::to_string(most) + ": " + text;
}

/// CLI11 would take a negative size for one near the largest number: for no limit.
std::string checkSign(const std::string &text) {
    return text.find('-') == std::string::npos ? "" : "A size is not negative: " + text;
}

/// A script's empty variable must not count as an option that was not given.
std::string checkName(const std::string &text) {
    return text.empty() ? "An empty name names nothing" : "";
}

std::string checkVersion(const std::string &text) {
    return Validator::parseVersion(text).empty() ? "A version is numbers with full stops between: " + text
                                                 : "";
}

/// The version of the image that KELP_ROOT_FS names. The build machine's own version does not matter.
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

/// Whether the run has a single package: one job, which has threads, is fastest for that.
bool isOnePackage(const ValidateArguments &arguments) {
    std::error_code ignored;
    return arguments.list.empty() && arguments.files.size() == 1 &&
           !std::filesystem::is_directory(arguments.files.front(), ignored);
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
    options.jobs = arguments.jobs != autoJobs ? std::stoul(arguments.jobs)
                   : isOnePackage(arguments)  ? 1
                                              : usableProcessors();
    options.hidden.insert(arguments.hidden.begin(), arguments.hidden.end());
    return options;
}

/// Incomplete is worse than refused: a missing verdict must not end a build as a mere "no".
ExitStatus statusOf(const KnownVerdict &verdict, const ValidateArguments &arguments) {
    const bool fails = verdict.isRefused || (verdict.hasWarning && arguments.failOn == "warning");
    return fails ? ExitStatus::Refused : ExitStatus::Accepted;
}

ExitStatus statusOf(const PackageReport &report, const ValidateArguments &arguments) {
    if (report.verdict == Verdict::Incomplete)
        return ExitStatus::Trouble;
    return statusOf(
        KnownVerdict{report.verdict == Verdict::Refused, report.counts.contains(LogLevel::Warning)},
        arguments);
}

/// Leaves the home directory: librpm would read settings of the user's rpm there, or make files.
void leaveHome() {
    ::setenv("HOME", "/nonexistent", 1);
    ::unsetenv("XDG_CONFIG_HOME");
}

/// The outcome of the run: the best verdict of several profiles on a package, and the worst of several
/// packages.
class Outcome {
public:
    explicit Outcome(std::size_t profiles) : profiles_(profiles) {}

    void add(ExitStatus status) {
        best_ = std::min(best_, status);
        if (++count_ % profiles_ != 0)
            return;
        worst_ = std::max(worst_, best_);
        best_ = ExitStatus::Trouble;
    }

    ExitStatus worst() const { return worst_; }

private:
    std::size_t profiles_;
    std::size_t count_ = 0;
    ExitStatus best_ = ExitStatus::Trouble;
    ExitStatus worst_ = ExitStatus::Accepted;
};

PackageSource sourceOf(const ValidateArguments &arguments) {
    return {arguments.files, arguments.list.empty()
                                 ? std::nullopt
                                 : std::optional(PackageSource::List{arguments.list, arguments.hasZeros})};
}

ExitStatus judgeAll(const ValidateArguments &arguments, const JudgeOptions &options, ReportOutput &output,
                    std::ostream &results) {
    std::set<std::size_t> usedOverrides;
    Outcome outcome(options.profiles.size());
    PackageSource source = sourceOf(arguments);
    const Interruption interruption;
    const auto take = [&](const PackageReport &report) {
        output.write(report);
        usedOverrides.insert(report.usedOverrides.begin(), report.usedOverrides.end());
        outcome.add(statusOf(report, arguments));
        return results.good();
    };
    const auto takeKnown = [&](const KnownVerdict &verdict) { outcome.add(statusOf(verdict, arguments)); };
    JudgePool(options).run(source, {take, takeKnown});
    // Also after an interruption: the finished reports form a whole document.
    output.finish();
    if (Interruption::isRequested() && results.flush())
        Interruption::die();
    const ExitStatus worst = source.hadTrouble() ? ExitStatus::Trouble : outcome.worst();
    // Incomplete packages, and those judged before, may have the findings of unused overrides.
    if (worst != ExitStatus::Trouble && !options.known)
        tellUnused(options.overrides, usedOverrides, arguments.overrides);
    return worst;
}

/// Adds the reports to a file of earlier ones.
class ResumedOutput final : public ReportOutput {
public:
    ResumedOutput(JudgedBefore &before, boost::json::object conditions) :
        before_(before), conditions_(std::move(conditions)) {}

    bool hasDigest() const override { return true; }
    void write(const PackageReport &report) override { before_.add(jsonLine(report, conditions_)); }

private:
    JudgedBefore &before_;
    boost::json::object conditions_;
};

std::unique_ptr<ReportOutput> outputOf(const ValidateArguments &arguments, const JudgeOptions &options,
                                       JudgedBefore *before, std::ostream &results) {
    if (before)
        return std::make_unique<ResumedOutput>(*before, conditionsOf(options, arguments.overrides));
    if (arguments.output == jsonLines)
        return jsonLinesOutput(results, conditionsOf(options, arguments.overrides));
    const auto form = std::ranges::find(outputForms, arguments.output, &OutputForm::name);
    return arguments.isExplaining ? explainingOutput(results) : form->make(results);
}

ExitStatus validate(const ValidateArguments &arguments, std::ostream &results) {
    // Before any use of librpm, which reads its configuration once.
    leaveHome();
    // Ignored: a limit on the size of files must not leave trees.
    std::signal(SIGXFSZ, SIG_IGN);
    JudgeOptions options = optionsOf(arguments);
    std::optional<JudgedBefore> before;
    if (!arguments.resumed.empty())
        before.emplace(arguments.resumed, conditionsOf(options, arguments.overrides));
    if (before) {
        options.known = [&before](const std::string &sha256, const std::string &profile) {
            return before->find(sha256, profile);
        };
        options.leaveRun = [&before] { before->leave(); };
    }
    const auto output = outputOf(arguments, options, before ? &*before : nullptr, results);
    options.lineOf = output->lineOf();
    options.hasDigest = output->hasDigest();
    return judgeAll(arguments, options, *output, results);
}

/// The options for the target and its rules.
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

/// The options for limits.
void addBounds(CLI::App &validate, ValidateArguments &arguments) {
    validate
        .add_option("--max-unpacked", arguments.mostUnpacked,
                    "Judge no package whose files take more bytes together; K, M and G may follow")
        ->transform(CLI::AsSizeValue(false))
        ->transform(CLI::Validator(checkSign, "SIZE")) // The last one comes first.
        ->option_text("SIZE");
    validate
        .add_option("--timeout", arguments.timeout, "Judge no package to the end for which this is too short")
        ->check(CLI::Validator(checkSeconds, "SECONDS"))
        ->option_text("SECONDS");
}

/// The options for what counts.
void addCounting(CLI::App &validate, ValidateArguments &arguments) {
    validate
        .add_option("--fail-on", arguments.failOn, "With \"warning\", exit with status 1 for warnings too")
        ->check(CLI::IsMember({"error", "warning"}))
        ->option_text("LEVEL (error)");
    // One id for each option: otherwise package files after it would count as more ids.
    validate.add_option("--hide", arguments.hidden, "Do not report this warning or note; may be repeated")
        ->check(CLI::Validator(objectionToSilence, "ID"))
        ->option_text("ID")
        ->allow_extra_args(false);
    validate
        .add_option("--overrides", arguments.overrides,
                    "Do not count the warnings and notes that FILE names: id, pattern of paths, reason")
        ->check(CLI::Validator(checkName, "FILE"))
        ->option_text("FILE");
}

/// The options for the report.
void addReport(CLI::App &validate, ValidateArguments &arguments) {
    auto *output =
        validate
            .add_option("--output", arguments.output,
                        "The form of the report: text, report, json, jsonl, sarif, gitlab or junit")
            ->check(CLI::IsMember({"text", "report", "json", "jsonl", "sarif", "gitlab", "junit"}))
            ->option_text("FORM (text)");
    auto *explain = validate.add_flag("--explain", arguments.isExplaining, "Show how to mend each finding")
                        ->excludes(output);
    validate
        .add_option(
            "--resume", arguments.resumed,
            "Add the reports to those in FILE, as lines of jsonl, and judge nothing again that stands there")
        ->check(CLI::Validator(checkName, "FILE"))
        ->option_text("FILE")
        ->excludes(output)
        ->excludes(explain);
    validate.add_option("--keep", arguments.keep, "Keep what was unpacked of each in DIR/ID-VERSION")
        ->check(CLI::Validator(checkName, "DIR"))
        ->option_text("DIR");
}

/// The options for the packages, and how many are judged at once.
void addPackages(CLI::App &validate, ValidateArguments &arguments) {
    validate
        .add_option("--jobs", arguments.jobs,
                    "Judge so many packages at once; auto is as many as there are processors")
        ->check(CLI::Validator(checkJobs, "N"))
        ->option_text("N (1)");
    auto *list = validate
                     .add_option("--files-from", arguments.list,
                                 "Judge also the packages that FILE names; - is standard input")
                     ->check(CLI::Validator(checkName, "FILE"))
                     ->option_text("FILE");
    validate
        .add_flag("--null", arguments.hasZeros,
                  "In that FILE each name ends with a zero byte, and not with its line")
        ->needs(list);
    validate.add_option("FILE.rpm", arguments.files, "The package files, and directories of them")
        ->option_text("");
}

} // namespace

void addValidate(CLI::App &app, Command &command) {
    const auto arguments = std::make_shared<ValidateArguments>();
    CLI::App *validate = app.add_subcommand("validate", "Judge packages as their installation would");
    addTarget(*validate, *arguments);
    addBounds(*validate, *arguments);
    addCounting(*validate, *arguments);
    addReport(*validate, *arguments);
    addPackages(*validate, *arguments);
    validate->callback([arguments, &command] {
        if (arguments->files.empty() && arguments->list.empty())
            throw CLI::RequiredError("FILE.rpm");
        command = [arguments](std::ostream &output) { return KelpCtl::validate(*arguments, output); };
    });
}

} // namespace KelpCtl
