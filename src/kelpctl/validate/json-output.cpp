#include "kelpctl/explanations/explanation.h"
#include "kelpctl/shown-text.h"
#include "kelpctl/validate/report-output.h"

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>
#include <boost/json/serialize.hpp>

#include <ostream>
#include <utility>

namespace KelpCtl {

namespace {

namespace json = boost::json;

/// Changes when older readers would misread the new form; a new field is no such change.
constexpr int formatVersion = 1;

/// A missing text is null, so that tools need not tell it from an empty one.
json::value textOrNull(const std::string &text) {
    return text.empty() ? json::value(nullptr) : json::value(jsonText(text));
}

json::object objectOf(const ReportedFinding &finding) {
    const Validator::Message &message = finding.message;
    return {{"id", message.entry.id},           {"level", nameOf(message.level)},
            {"path", textOrNull(message.path)}, {"text", jsonText(message.text)},
            {"hint", textOrNull(finding.hint)}, {"overridden", textOrNull(finding.overridden)}};
}

json::object objectOf(const PackageReport &report) {
    json::array findings;
    for (const ReportedFinding &finding : report.findings)
        findings.push_back(objectOf(finding));
    return {{"file", jsonText(report.file)},
            {"sha256", textOrNull(report.sha256)},
            {"id", textOrNull(report.id.value_or(""))},
            {"version", textOrNull(report.version.value_or(""))},
            {"profile", report.profile},
            {"os_version", textOrNull(report.osVersion.value_or(""))},
            {"verdict", nameOf(report.verdict)},
            {"reason", textOrNull(report.reason)},
            {"findings", std::move(findings)}};
}

/// Writes each package as soon as it is judged: memory does not grow with their number.
class JsonOutput final : public ReportOutput {
public:
    explicit JsonOutput(std::ostream &output) : output_(output) {}

    bool hasDigest() const override { return true; }
    void write(const PackageReport &report) override { begin() << objectOf(report); }
    void finish() override {
        // Also without any package: an empty text is no document.
        if (!std::exchange(isBegun_, true))
            output_ << head();
        output_ << "\n]}" << std::endl;
    }

private:
    static std::string head() {
        return "{\"format\":" + std::to_string(formatVersion) +
               ",\"kelpctl\":\"" KELP_VERSION "\",\"packages\":[";
    }

    std::ostream &begin() { return output_ << (std::exchange(isBegun_, true) ? "," : head()) << '\n'; }

    std::ostream &output_;
    bool isBegun_ = false;
};

/// Flushes each line: a killed run loses no finished line.
class JsonLinesOutput final : public ReportOutput {
public:
    JsonLinesOutput(std::ostream &output, json::object conditions) :
        output_(output), conditions_(std::move(conditions)) {}

    bool hasDigest() const override { return true; }
    void write(const PackageReport &report) override {
        output_ << jsonLine(report, conditions_) << std::flush;
    }

private:
    std::ostream &output_;
    json::object conditions_;
};

} // namespace

std::string jsonLine(const PackageReport &report, const json::object &conditions) {
    json::object line{{"format", formatVersion}};
    for (const json::object &part : {conditions, objectOf(report)})
        for (const auto &field : part)
            line[field.key()] = field.value();
    return json::serialize(line) + '\n';
}

std::unique_ptr<ReportOutput> jsonLinesOutput(std::ostream &output, json::object conditions) {
    return std::make_unique<JsonLinesOutput>(output, std::move(conditions));
}

std::unique_ptr<ReportOutput> jsonOutput(std::ostream &output) {
    return std::make_unique<JsonOutput>(output);
}

} // namespace KelpCtl
