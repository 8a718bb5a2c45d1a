#include "kelpctl/explanations/explanation.h"
#include "kelpctl/shown-text.h"
#include "kelpctl/validate/report-output.h"
#include "kelpctl/validate/run/spool.h"

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>
#include <boost/json/serialize.hpp>
#include <glib.h>

#include <map>
#include <ostream>
#include <set>
#include <utility>

namespace KelpCtl {

namespace {

namespace json = boost::json;

using Validator::CatalogueEntry;
using Validator::LogLevel;

/// SARIF has no level above "error"; critical findings show by their ids.
const char *sarifLevelOf(LogLevel level) {
    return level == LogLevel::Warning ? "warning" : level == LogLevel::Info ? "note" : "error";
}

json::object textObject(const std::string &text) {
    return {{"text", text}};
}

json::object ruleOf(const CatalogueEntry &entry) {
    const Explanation &explanation = explanationOf(entry.id);
    return {
        {"id", entry.id},
        {"shortDescription", textObject(std::string(explanation.what))},
        {"fullDescription", textObject(std::string(explanation.why))},
        {"help", json::object{{"text", proseOf(entry) + exampleOf(entry)}, {"markdown", markdownOf(entry)}}},
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

/// Writes results as soon as their package is judged. At the end follow the rules that occurred and the
/// profiles, which are known only then.
class SarifOutput final : public ReportOutput {
public:
    explicit SarifOutput(std::ostream &output) : output_(output) {}

    void write(const PackageReport &report) override {
        profiles_.insert(report.profile);
        begin();
        for (const ReportedFinding &finding : report.findings)
            output_ << (std::exchange(hasResults_, true) ? ",\n" : "\n") << resultOf(report, finding);
        output_.flush();
        // Not a result: a package without a verdict is a failure of the run, and must not count as free of
        // findings.
        if (report.verdict == Verdict::Incomplete)
            notify(json::object{{"level", "error"},
                                {"message", textObject(jsonText(report.file + ": " + report.reason))}});
    }

    void finish() override {
        begin();
        const json::object driver{{"name", "kelpctl"},
                                  {"version", KELP_VERSION},
                                  {"informationUri", KELP_HOMEPAGE},
                                  {"rules", std::move(rules_)}};
        output_ << "\n],\"tool\":" << json::object{{"driver", driver}}
                << R"(,"invocations":[{"executionSuccessful":)"
                << (notifications_.size() == 0 ? "true" : "false") << R"(,"toolExecutionNotifications":[)";
        for (std::string piece; !(piece = notifications_.take(pieceSize)).empty();)
            output_ << piece;
        output_ << "]}]"
                << ",\"automationDetails\":" << json::object{{"id", "kelpctl/" + profile() + '/'}}
                << R"(,"columnKind":"unicodeCodePoints"}]})" << std::endl;
    }

private:
    static constexpr std::size_t pieceSize = 0x10000;

    /// Kept for the end: a stock may have any number of packages that cannot be judged.
    void notify(const json::object &notification) {
        notifications_.append((notifications_.size() == 0 ? "" : ",") + json::serialize(notification));
    }

    void begin() {
        if (!std::exchange(isBegun_, true))
            output_ << R"({"$schema":"https://json.schemastore.org/sarif-2.1.0.json","version":"2.1.0",)"
                    << R"("runs":[{"results":[)";
    }

    std::string profile() const {
        return profiles_.size() == 1 ? *profiles_.begin() : profiles_.empty() ? "none" : "all";
    }

    json::object resultOf(const PackageReport &report, const ReportedFinding &finding) {
        const Validator::Message &message = finding.message;
        const std::string hint = finding.hint.empty() ? "" : "; did you mean " + finding.hint + '?';
        json::object result{{"ruleId", message.entry.id},
                            {"ruleIndex", indexOf(message.entry)},
                            {"level", sarifLevelOf(message.level)},
                            {"message", textObject(jsonText(message.text) + hint)},
                            {"locations", locationsOf(report, message.path)},
                            {"partialFingerprints", json::object{{"finding/v1", fingerprintOf(message)}}},
                            {"properties", json::object{{"profile", report.profile}}}};
        if (!finding.overridden.empty())
            result["suppressions"] = json::array{
                json::object{{"kind", "external"}, {"justification", jsonText(finding.overridden)}}};
        return result;
    }

    std::size_t indexOf(const CatalogueEntry &entry) {
        const auto [index, isNew] = indexes_.emplace(entry.id, rules_.size());
        if (isNew)
            rules_.push_back(ruleOf(entry));
        return index->second;
    }

    std::ostream &output_;
    bool isBegun_ = false;
    bool hasResults_ = false;
    std::map<std::string_view, std::size_t> indexes_;
    std::set<std::string> profiles_;
    json::array rules_;
    Spool notifications_;
};

} // namespace

std::unique_ptr<ReportOutput> sarifOutput(std::ostream &output) {
    return std::make_unique<SarifOutput>(output);
}

} // namespace KelpCtl
