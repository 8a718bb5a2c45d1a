#include "kelpctl/explanations/explanation.h"
#include "kelpctl/shown-text.h"
#include "kelpctl/validate/report-output.h"

#include <glib.h>

#include <algorithm>
#include <ostream>
#include <utility>

namespace KelpCtl {

namespace {

using Validator::LogLevel;

/// Escaped for people first: XML has no way to write most control characters, nor two of the others.
std::string xmlText(const std::string &text) {
    std::string visible = jsonText(shown(text));
    for (const std::string_view none : {"\xef\xbf\xbe", "\xef\xbf\xbf"})
        for (std::size_t at = 0; (at = visible.find(none, at)) != std::string::npos;)
            visible.replace(at, none.size(), "\xef\xbf\xbd");
    const std::unique_ptr<char, decltype(&g_free)> escaped(
        g_markup_escape_text(visible.data(), static_cast<gssize>(visible.size())), g_free);
    return escaped.get();
}

bool isFailure(const ReportedFinding &finding) {
    const LogLevel level = finding.message.level;
    return finding.overridden.empty() && (level == LogLevel::Error || level == LogLevel::Critical);
}

/// A suite for each package and profile, and in it a test case for each finding and one for the verdict.
class JunitOutput final : public ReportOutput {
public:
    explicit JunitOutput(std::ostream &output) : output_(output) {}

    void write(const PackageReport &report) override {
        begin();
        const bool isIncomplete = report.verdict == Verdict::Incomplete;
        const auto failures =
            std::ranges::count_if(report.findings, isFailure) + (report.verdict == Verdict::Refused ? 1 : 0);
        const auto skipped = std::ranges::count_if(
            report.findings, [](const ReportedFinding &finding) { return !finding.overridden.empty(); });
        output_ << "<testsuite name=\"" << xmlText(report.file) << " (" << report.profile << ")\" tests=\""
                << report.findings.size() + 1 << "\" failures=\"" << failures << "\" errors=\""
                << (isIncomplete ? 1 : 0) << "\" skipped=\"" << skipped << "\">\n";
        for (const ReportedFinding &finding : report.findings)
            writeFinding(report, finding);
        writeVerdict(report);
        output_ << "</testsuite>" << std::endl;
    }

    void finish() override {
        begin();
        output_ << "</testsuites>" << std::endl;
    }

private:
    void begin() {
        if (!std::exchange(isBegun_, true))
            output_ << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites name=\"kelpctl\">\n";
    }

    void beginCase(const PackageReport &report, const std::string &name) {
        output_ << "<testcase classname=\"" << xmlText(report.id.value_or(report.file)) << "\" name=\""
                << xmlText(name) << "\">";
    }

    void writeFinding(const PackageReport &report, const ReportedFinding &finding) {
        const Validator::Message &message = finding.message;
        const std::string id(message.entry.id);
        beginCase(report, message.path.empty() ? id : id + ' ' + message.path);
        if (!finding.overridden.empty())
            output_ << "<skipped message=\"" << xmlText(finding.overridden) << "\"/>";
        else if (isFailure(finding))
            output_ << "<failure type=\"" << nameOf(message.level) << "\" message=\"" << xmlText(message.text)
                    << "\">" << xmlText(std::string(explanationOf(id).mend)) << "</failure>";
        else
            output_ << "<system-out>" << nameOf(message.level) << ": " << xmlText(message.text)
                    << "</system-out>";
        output_ << "</testcase>\n";
    }

    void writeVerdict(const PackageReport &report) {
        beginCase(report, "verdict");
        if (report.verdict == Verdict::Refused)
            output_ << "<failure type=\"refused\" message=\"" << xmlText(report.reason) << "\"/>";
        else if (report.verdict == Verdict::Incomplete)
            output_ << "<error type=\"incomplete\" message=\"" << xmlText(report.reason) << "\"/>";
        output_ << "</testcase>\n";
    }

    std::ostream &output_;
    bool isBegun_ = false;
};

} // namespace

std::unique_ptr<ReportOutput> junitOutput(std::ostream &output) {
    return std::make_unique<JunitOutput>(output);
}

} // namespace KelpCtl
