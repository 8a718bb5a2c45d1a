#include "kelpctl/shown-text.h"
#include "kelpctl/validate/explanations/explanation.h"
#include "kelpctl/validate/report-output.h"

#include "kelp/core/kelp/validator/all-findings.h"

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>
#include <boost/json/serialize.hpp>
#include <glib.h>

#include <map>
#include <ostream>

namespace KelpCtl {

namespace {

namespace json = boost::json;

using Validator::CatalogueEntry;
using Validator::LogLevel;

/// SARIF has no level above "error"; critical findings are told by their ids.
const char *sarifLevelOf(LogLevel level) {
    return level == LogLevel::Warning ? "warning" : level == LogLevel::Info ? "note" : "error";
}

json::object textObject(const std::string &text) {
    return {{"text", text}};
}

json::object ruleOf(const CatalogueEntry &entry) {
    const Explanation &explanation = explanationOf(entry.id);
    return {{"id", entry.id},
            {"shortDescription", textObject(std::string(explanation.what))},
            {"fullDescription", textObject(std::string(explanation.why))},
            {"help", textObject(proseOf(entry) + exampleOf(entry))},
            {"defaultConfiguration", json::object{{"level", sarifLevelOf(entry.level)}}}};
}

/// A URI reference, relative for a relative file name.
std::string uriOf(const std::string &file) {
    const std::unique_ptr<char, decltype(&g_free)> escaped(
        g_uri_escape_bytes(reinterpret_cast<const guint8 *>(file.data()), file.size(), "/"), g_free);
    return (file.starts_with('/') ? "file://" : "") + std::string(escaped.get());
}

json::array locationsOf(const PackageReport &report, const std::string &path) {
    json::object location{
        {"physicalLocation", json::object{{"artifactLocation", json::object{{"uri", uriOf(report.file)}}},
                                          // A package has no lines, but some code hosts show no finding
                                          // without a region.
                                          {"region", json::object{{"startLine", 1}}}}}};
    if (!path.empty())
        location["logicalLocations"] =
            json::array{json::object{{"fullyQualifiedName", jsonText(path)}, {"kind", "resource"}}};
    return {std::move(location)};
}

class SarifOutput final : public ReportOutput {
public:
    explicit SarifOutput(std::ostream &output) : output_(output) {
        for (const CatalogueEntry &entry : Validator::allFindings()) {
            indexes_.emplace(entry.id, rules_.size());
            rules_.push_back(ruleOf(entry));
        }
    }

    void write(const PackageReport &report) override {
        for (const ReportedFinding &finding : report.findings)
            results_.push_back(resultOf(report, finding.message));
        // Not a result: what could not be judged is a failure of the run, and tools must not count the
        // package as free of findings.
        if (report.verdict == Verdict::Incomplete)
            notifications_.push_back(json::object{
                {"level", "error"}, {"message", textObject(jsonText(report.file + ": " + report.reason))}});
    }

    void finish() override {
        const json::object driver{
            {"name", "kelpctl"}, {"version", KELP_VERSION}, {"rules", std::move(rules_)}};
        json::object invocation{{"executionSuccessful", notifications_.empty()},
                                {"toolExecutionNotifications", std::move(notifications_)}};
        json::object run{{"tool", json::object{{"driver", driver}}},
                         {"invocations", json::array{std::move(invocation)}},
                         {"results", std::move(results_)},
                         {"columnKind", "unicodeCodePoints"}};
        output_ << json::object{{"$schema", "https://json.schemastore.org/sarif-2.1.0.json"},
                                {"version", "2.1.0"},
                                {"runs", json::array{std::move(run)}}}
                << '\n';
    }

private:
    json::object resultOf(const PackageReport &report, const Validator::Message &message) const {
        json::object result{{"ruleId", message.entry.id},
                            {"level", sarifLevelOf(message.level)},
                            {"message", textObject(jsonText(message.text))},
                            {"locations", locationsOf(report, message.path)},
                            {"properties", json::object{{"profile", report.profile}}}};
        // A message that could not be composed has an id that is in no catalogue.
        if (const auto index = indexes_.find(message.entry.id); index != indexes_.end())
            result["ruleIndex"] = index->second;
        return result;
    }

    std::ostream &output_;
    std::map<std::string_view, std::size_t> indexes_;
    json::array rules_;
    json::array results_;
    json::array notifications_;
};

} // namespace

std::unique_ptr<ReportOutput> sarifOutput(std::ostream &output) {
    return std::make_unique<SarifOutput>(output);
}

} // namespace KelpCtl
