#include "kelpctl/validate/collected-report.h"

#include "kelpctl/shown-text.h"

namespace KelpCtl {

namespace {

constexpr std::string_view moreText = "and {0} more reports";

} // namespace

CollectedReport::CollectedReport(const std::string &file, const Validator::Config &profile,
                                 const JudgeOptions &options) :
    options_(options), hints_(profile) {
    report_.file = file;
    report_.profile = profile.name();
    if (options.lineOf)
        report_.lines = std::make_shared<Spool>();
}

void CollectedReport::name(const std::string &id, const std::string &version) {
    report_.id = id;
    report_.version = version;
}

void CollectedReport::add(Stage stage, const Validator::Message &message) {
    // Hidden from the report and its counts. The verdict is the validator's and stays: only what refuses
    // nothing can be hidden.
    if (options_.hidden.contains(std::string(message.entry.id)))
        return;
    ++report_.counts[message.level];
    if (report_.lines)
        return report_.lines->append(options_.lineOf(message));
    Shown &shown = shown_[message.entry.id];
    if (shown.count < mostShown)
        ++shown.count;
    else if (++shown.more > 1)
        return;
    shown.place = report_.findings.size();
    report_.findings.push_back({stage, message, hints_.of(message)});
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
    for (const auto &[id, shown] : shown_)
        if (shown.more > 0)
            tellMore(shown);
    return std::move(report_);
}

void CollectedReport::tellMore(const Shown &shown) {
    Validator::Message &message = report_.findings[shown.place].message;
    message.strings = {std::to_string(shown.more)};
    message.text = Validator::composeText(moreText, message.strings);
    message.entry.text = moreText;
    message.path.clear();
    report_.findings[shown.place].hint.clear();
}

} // namespace KelpCtl
