#include "kelpctl/validate/package-report.h"

#include "kelpctl/shown-text.h"

#include <algorithm>

namespace KelpCtl {

std::string nameOf(Verdict verdict) {
    constexpr const char *names[] = {"accepted", "refused", "incomplete"};
    return names[static_cast<std::size_t>(verdict)];
}

std::string nameOf(Stage stage) {
    return stage == Stage::Header ? "header" : "files";
}

std::string shownText(const Validator::Message &message) {
    std::vector<std::string> strings;
    std::ranges::transform(message.strings, std::back_inserter(strings),
                           [](const std::string &text) { return shown(text); });
    return Validator::composeText(message.entry.text, strings);
}

} // namespace KelpCtl
