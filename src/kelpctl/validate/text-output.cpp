#include "kelpctl/explanations/explanation.h"
#include "kelpctl/explanations/shown-finding.h"
#include "kelpctl/shown-text.h"
#include "kelpctl/terminal.h"
#include "kelpctl/validate/report-output.h"

#include "kelp/core/kelp/validator/framework/text.h"

#include <unistd.h>

#include <algorithm>
#include <iostream>
#include <set>
#include <stdexcept>
#include <utility>

namespace KelpCtl {

namespace {

using Validator::LogLevel;

Style styleOf(Verdict verdict) {
    return verdict == Verdict::Accepted ? Style::Green : Style::Red;
}

/// "org.example.app 1.0-1 (app.rpm), profile regular".
std::string headingOf(const PackageReport &report) {
    const std::string profile = ", profile " + report.profile;
    if (!report.id)
        return shown(report.file) + profile;
    return shown(*report.id) + ' ' + shown(report.version.value_or("")) + " (" + shown(report.file) + ')' +
           profile;
}

/// Each line of the text after `indent` blanks.
std::string indented(std::string_view text, std::size_t indent) {
    std::string result;
    while (!text.empty()) {
        const std::string_view line = text.substr(0, text.find('\n'));
        result += (line.empty() ? "" : std::string(indent, ' ')) + std::string(line) + '\n';
        text.remove_prefix(std::min(line.size() + 1, text.size()));
    }
    return result;
}

/// How to mend a finding, below its line.
std::string remedyOf(const Validator::CatalogueEntry &entry, const PackageReport &report) {
    // A bad name is no example.
    const bool isGood = Validator::isReverseDomain(report.id.value_or(""), 3);
    const auto addressed = [&](const std::string &text) {
        return isGood ? addressedTo(shown(*report.id), text) : text;
    };
    const Explanation &explanation = explanationOf(entry.id);
    const std::string mend = addressed("How to mend it: " + std::string(explanation.mend));
    std::string text = fittedLine(mend, 6, STDOUT_FILENO) + '\n';
    const std::string option = report.profile == "regular" ? "" : "--profile " + report.profile + ' ';
    if (!explanation.topic.empty())
        text += indented("What is allowed: kelpctl rules " + option + std::string(explanation.topic), 6);
    return text + indented(addressed(exampleOf(entry)), 6);
}

/// "2 errors, 1 warning", or "no findings".
std::string countsOf(const PackageReport &report) {
    std::string counts;
    const auto add = [&](const std::string &noun, auto... levels) {
        const auto of = [&](LogLevel level) {
            const auto found = report.counts.find(level);
            return found == report.counts.end() ? 0 : found->second;
        };
        const std::size_t count = (of(levels) + ...);
        if (count > 0)
            counts += (counts.empty() ? "" : ", ") + counted(count, noun);
    };
    add("error", LogLevel::Error, LogLevel::Critical);
    add("warning", LogLevel::Warning);
    add("note", LogLevel::Info);
    if (report.overridden > 0)
        counts += (counts.empty() ? "" : ", ") + std::to_string(report.overridden) + " overridden";
    return counts.empty() ? "no findings" : counts;
}

enum class Remedies { Hidden, Shown };

class TextOutput final : public ReportOutput {
public:
    TextOutput(std::ostream &output, Remedies remedies) : output_(output), remedies_(remedies) {}

    void write(const PackageReport &report) override {
        output_ << styled(headingOf(report), Style::Bold, STDOUT_FILENO) << '\n';
        std::set<std::string_view> explained;
        for (const Stage stage : {Stage::Header, Stage::Files})
            writeStage(report, stage, explained);
        // Flushed, so that people see each package as soon as it is judged.
        output_ << "  " << styled(nameOf(report.verdict), styleOf(report.verdict), STDOUT_FILENO) << ": "
                << (report.reason.empty() ? "" : shown(report.reason) + "; ") << countsOf(report)
                << std::endl;
        hasFindings_ = hasFindings_ || !report.counts.empty();
    }

    void finish() override {
        if (hasFindings_ && remedies_ == Remedies::Hidden)
            output_ << "\"kelpctl validate --explain\" shows how to mend each finding, and \"kelpctl explain "
                       "ID\" tells all about one.\n";
    }

private:
    /// A remedy stands below the first finding of its id.
    void writeStage(const PackageReport &report, Stage stage, std::set<std::string_view> &explained) {
        bool isFirst = true;
        for (const ReportedFinding &finding : report.findings) {
            if (finding.stage != stage || !finding.overridden.empty())
                continue;
            if (std::exchange(isFirst, false))
                output_ << "  " << nameOf(stage) << ":\n";
            output_ << findingLine(finding.message, STDOUT_FILENO, 4) << '\n';
            if (!finding.hint.empty())
                output_ << "      Did you mean \"" << finding.hint << "\"?\n";
            if (remedies_ == Remedies::Shown && explained.insert(finding.message.entry.id).second)
                output_ << remedyOf(finding.message.entry, report);
        }
    }

    std::ostream &output_;
    Remedies remedies_;
    bool hasFindings_ = false;
};

/// The prefixes of the validator's own report.
std::string prefixOf(LogLevel level) {
    constexpr const char *prefixes[] = {"(WARNING)\t", "(ERROR)\t\t", "(CRITICAL)\t", "(INFO)\t\t"};
    return styled(prefixes[static_cast<std::size_t>(level)], KelpCtl::styleOf(level), STDERR_FILENO);
}

class LinesOutput final : public ReportOutput {
public:
    explicit LinesOutput(std::ostream &output) : output_(output) {}

    /// As lines: there may be millions.
    std::function<std::string(const Validator::Message &)> lineOf() const override {
        return [](const Validator::Message &message) {
            return prefixOf(message.level) + shownText(message) + '\n';
        };
    }

    void write(const PackageReport &report) override {
        for (std::string piece; !(piece = report.lines->take(pieceSize)).empty();)
            error_ << piece;
        // Flushes both streams, so that they stay in order in one file.
        error_.flush();
        const std::string reason = report.reason.empty() ? "" : ": " + shown(report.reason);
        output_ << shown(report.file) << ": " << nameOf(report.verdict) << reason << std::endl;
        if (!error_)
            throw std::runtime_error("Couldn't write to standard error");
    }

private:
    static constexpr std::size_t pieceSize = 0x10000;

    std::ostream &output_;
    std::ostream error_{std::cerr.rdbuf()};
};

} // namespace

std::unique_ptr<ReportOutput> textOutput(std::ostream &output) {
    return std::make_unique<TextOutput>(output, Remedies::Hidden);
}

std::unique_ptr<ReportOutput> explainingOutput(std::ostream &output) {
    return std::make_unique<TextOutput>(output, Remedies::Shown);
}

std::unique_ptr<ReportOutput> linesOutput(std::ostream &output) {
    return std::make_unique<LinesOutput>(output);
}

} // namespace KelpCtl
