#include "kelpctl/validate/package-report.h"

#include "kelp/core/common/rpm/digest.h"

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
    // No path or argument has a NUL.
    std::string text = std::string(message.entry.id) + '\0' + message.path;
    for (const std::string &argument : message.strings)
        text += '\0' + argument;
    return Common::Rpm::sha256Of(text);
}

} // namespace KelpCtl
