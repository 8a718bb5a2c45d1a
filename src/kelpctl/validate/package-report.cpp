#include "kelpctl/validate/package-report.h"

#include "kelpctl/shown-text.h"

#include "kelp/core/common/rpm/digest.h"

#include <algorithm>

namespace KelpCtl {

/// These names are in documents that tools read, and never change.
std::string nameOf(Verdict verdict) {
    constexpr const char *names[] = {"accepted", "refused", "incomplete"};
    return names[static_cast<std::size_t>(verdict)];
}

std::string nameOf(Stage stage) {
    return stage == Stage::Header ? "header" : "files";
}

std::string fingerprintOf(const Validator::Message &message) {
    // A NUL is in no path and in no argument.
    std::string text = std::string(message.entry.id) + '\0' + message.path;
    for (const std::string &argument : message.strings)
        text += '\0' + argument;
    return Common::Rpm::sha256Of(text);
}

std::string shownText(const Validator::Message &message) {
    // Each string by itself: a text that is escaped as a whole would have the catalogue's own line feed
    // escaped too.
    std::vector<std::string> strings;
    std::ranges::transform(message.strings, std::back_inserter(strings),
                           [](const std::string &text) { return shown(text); });
    return Validator::composeText(message.entry.text, strings);
}

} // namespace KelpCtl
