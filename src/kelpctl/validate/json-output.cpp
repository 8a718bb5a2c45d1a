#include "kelpctl/shown-text.h"
#include "kelpctl/validate/explanations/explanation.h"
#include "kelpctl/validate/report-output.h"

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>
#include <boost/json/serialize.hpp>

#include <ostream>

namespace KelpCtl {

namespace {

namespace json = boost::json;

/// What a package does not say is null, so that tools need not tell an empty text from a missing one.
json::value textOrNull(const std::string &text) {
    return text.empty() ? json::value(nullptr) : json::value(jsonText(text));
}

json::object objectOf(const ReportedFinding &finding) {
    const Validator::Message &message = finding.message;
    return {{"id", message.entry.id},
            {"level", nameOf(message.level)},
            {"path", textOrNull(message.path)},
            {"text", jsonText(message.text)},
            {"hint", textOrNull(finding.hint)}};
}

json::object objectOf(const PackageReport &report) {
    json::array findings;
    for (const ReportedFinding &finding : report.findings)
        findings.push_back(objectOf(finding));
    return {{"file", jsonText(report.file)},
            {"id", textOrNull(report.id.value_or(""))},
            {"version", textOrNull(report.version.value_or(""))},
            {"profile", report.profile},
            {"verdict", nameOf(report.verdict)},
            {"reason", textOrNull(report.reason)},
            {"findings", std::move(findings)}};
}

/// Collects all packages, as one document is written: a run that is interrupted writes none, not half of one.
class JsonOutput final : public ReportOutput {
public:
    explicit JsonOutput(std::ostream &output) : output_(output) {}

    void write(const PackageReport &report) override { packages_.push_back(objectOf(report)); }
    void finish() override { output_ << json::object{{"packages", std::move(packages_)}} << '\n'; }

private:
    std::ostream &output_;
    json::array packages_;
};

} // namespace

std::unique_ptr<ReportOutput> jsonOutput(std::ostream &output) {
    return std::make_unique<JsonOutput>(output);
}

} // namespace KelpCtl
