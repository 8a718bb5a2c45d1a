#include "kelpctl/validate/collected-report.h"

#include "kelpctl/shown-text.h"

#include <algorithm>

namespace KelpCtl {

CollectedReport::CollectedReport(const std::string &file, const Validator::Config &profile,
                                 const JudgeOptions &options) :
    options_(options), hints_(profile) {
    report_.file = file;
    report_.profile = profile.name();
    report_.osVersion = profile.osVersion();
    if (options.lineOf)
        report_.lines = std::make_shared<Spool>();
}

void CollectedReport::name(const std::string &id, const std::string &version) {
    report_.id = id;
    report_.version = version;
}

void CollectedReport::add(Stage stage, const Validator::Message &message) {
    // Hidden from the report and its counts. The verdict stays the validator's: only findings that refuse
    // nothing can be hidden.
    if (options_.hidden.contains(std::string(message.entry.id)))
        return;
    const Override *override = findOverride(options_.overrides, message);
    count(message, override);
    if (report_.lines) {
        if (override == nullptr)
            report_.lines->append(options_.lineOf(message));
        return;
    }
    Shown &shown = shown_[{message.entry.id, override != nullptr}];
    // From the hundredth of an id on, repeated ones are added too: the others may all be overridden.
    if (shown.places.size() < mostShown ? isShown(shown, message) : ++shown.more > 1)
        return;
    shown.places.push_back(report_.findings.size());
    report_.findings.push_back({stage, message, hints_.of(message), override ? override->reason : ""});
}

void CollectedReport::count(const Validator::Message &message, const Override *override) {
    if (override == nullptr) {
        ++report_.counts[message.level];
        return;
    }
    ++report_.overridden;
    report_.usedOverrides.insert(override->line);
}

bool CollectedReport::isShown(const Shown &shown, const Validator::Message &message) const {
    return !options_.overrides.empty() && std::ranges::any_of(shown.places, [&](std::size_t place) {
        return report_.findings[place].message == message;
    });
}

void CollectedReport::addLine(const std::string &line) {
    if (report_.lines)
        report_.lines->append(shown(line) + '\n');
}

void CollectedReport::conclude(Verdict verdict, const std::string &reason) {
    report_.verdict = verdict;
    report_.reason = reason;
}

PackageReport CollectedReport::take() && {
    for (const auto &[which, shown] : shown_)
        if (shown.more > 0)
            tellMore(shown);
    return std::move(report_);
}

void CollectedReport::tellMore(const Shown &shown) {
    ReportedFinding &finding = report_.findings[shown.places.back()];
    finding.message.strings = {std::to_string(shown.more)};
    finding.message.text = Validator::composeText(moreText, finding.message.strings);
    finding.message.entry.text = moreText;
    finding.message.path.clear();
    finding.hint.clear();
}

} // namespace KelpCtl
