#include "kelpctl/shown-text.h"
#include "kelpctl/validate/report-output.h"

#include "kelp/core/common/rpm/digest.h"

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>
#include <boost/json/serialize.hpp>

#include <algorithm>
#include <filesystem>
#include <ostream>
#include <set>
#include <utility>

namespace KelpCtl {

namespace {

namespace json = boost::json;

using Validator::LogLevel;

const char *severityOf(LogLevel level) {
    constexpr const char *names[] = {"minor", "major", "critical", "info"};
    return names[static_cast<std::size_t>(level)];
}

/// One text of the catalogue has a line feed, and a path may have one; the form allows none.
std::string oneLine(std::string text) {
    std::ranges::replace(text, '\n', ' ');
    return text;
}

/// The list of a Code Quality report. Overridden findings are left out: the form has no word for them.
class GitlabOutput final : public ReportOutput {
public:
    explicit GitlabOutput(std::ostream &output) : output_(output) {}

    void write(const PackageReport &report) override {
        // By the package's id: its file name changes with each version.
        const std::string package = report.profile + '\n' + report.id.value_or(report.file) + '\n';
        std::set<std::string> fingerprints;
        for (const ReportedFinding &finding : report.findings) {
            const auto &message = finding.message;
            const std::string fingerprint = Common::Rpm::sha256Of(package + fingerprintOf(message));
            // GitLab shows entries with one fingerprint once, and may pick the one that does not count.
            if (finding.overridden.empty() && fingerprints.insert(fingerprint).second)
                add(report, std::string(message.entry.id),
                    message.text + (finding.hint.empty() ? "" : "; did you mean " + finding.hint + '?'),
                    severityOf(message.level), fingerprint);
        }
        if (report.verdict == Verdict::Incomplete)
            add(report, "incomplete", report.reason, "blocker",
                Common::Rpm::sha256Of(package + "incomplete"));
        output_.flush();
    }

    void finish() override { output_ << (hasEntries_ ? "\n]" : "[]") << std::endl; }

private:
    void add(const PackageReport &report, const std::string &name, const std::string &text,
             const std::string &severity, const std::string &fingerprint) {
        // Readers of the form do not match a path with a leading "./" to a file of the project.
        const std::string path = std::filesystem::path(report.file).lexically_normal();
        const json::object location{{"path", jsonText(path)},
                                    {"lines", json::object{{"begin", 1}, {"end", 1}}}};
        output_ << (std::exchange(hasEntries_, true) ? ",\n" : "[\n")
                << json::object{{"type", "issue"},
                                {"check_name", name},
                                {"description", jsonText(oneLine(text))},
                                {"categories", json::array{"Compatibility"}},
                                {"fingerprint", fingerprint},
                                {"severity", severity},
                                {"location", location}};
    }

    std::ostream &output_;
    bool hasEntries_ = false;
};

} // namespace

std::unique_ptr<ReportOutput> gitlabOutput(std::ostream &output) {
    return std::make_unique<GitlabOutput>(output);
}

} // namespace KelpCtl
