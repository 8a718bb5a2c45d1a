#include "kelp/core/kelp/validator/configuration/pattern-set.h"
#include "kelp/core/kelp/validator/framework/text.h"
#include "kelp/core/kelp/validator/hardening/forbidden-mime-type.h"
#include "kelp/core/kelp/validator/hardening/hardening-findings.h"
#include "kelp/core/kelp/validator/hardening/header-hardening.h"

#include <algorithm>
#include <climits>
#include <optional>

namespace Validator {

namespace {

constexpr std::string_view versionMarks = "._+~^%{}";
/// Longer texts make reports and directory names unreadable.
constexpr std::size_t longestReadable = 128;

bool isVersionCharacter(char c) {
    return isAlpha(c) || isDigit(c) || versionMarks.find(c) != std::string_view::npos;
}

bool isVersionPart(std::string_view text) {
    return std::ranges::all_of(text, isVersionCharacter) && text.find("..") == std::string_view::npos;
}

struct Call {
    std::string_view word;
    std::string_view argument;
};

/// The parts of "WORD(ARGUMENT)".
std::optional<Call> callIn(std::string_view text) {
    const std::size_t open = text.find('(');
    if (open == 0 || open == std::string_view::npos || text.find(')') != text.size() - 1)
        return std::nullopt;
    return Call{text.substr(0, open), text.substr(open + 1, text.size() - open - 2)};
}

/// The rule on dependencies skips those with certain words. This is the objection to one that only looks like
/// them.
std::optional<HardeningRule> objectionTo(std::string_view dependency) {
    const auto call = callIn(dependency);
    if (dependency.starts_with('/') || (call && (call->word == "rpmlib" || call->word == "rtld")))
        return std::nullopt;
    const bool isCallWithSlash = call && call->word.find('/') == std::string_view::npos &&
                                 call->argument.find('/') != std::string_view::npos;
    // Modules of some languages are named so.
    return isCallWithSlash ? HardeningRule::DependencyWithSlash : HardeningRule::DisguisedDependency;
}

/// The rule on Provides judges the exact spelling.
bool isDisguisedHandler(const Config &config, std::string_view capability) {
    const auto call = callIn(capability);
    return call && call->word == "mimehandler" && isForbiddenMimeType(config, call->argument) &&
           !config.forbiddenMimeTypes().contains(call->argument);
}

void checkVersion(const HeaderCheck &check) {
    const std::string text = check.meta.version() + "-" + check.meta.release();
    if (!isUsableVersion(text))
        check.logger.log(HardeningRule::VersionUnusable, {text});
    else if (text.size() > longestReadable)
        check.logger.log(HardeningRule::VersionLong, {text});
}

} // namespace

bool isUsableVersion(std::string_view text) {
    const std::size_t dash = std::min(text.find('-'), text.size());
    return text.size() <= NAME_MAX && isVersionPart(text.substr(0, dash)) &&
           isVersionPart(text.substr(std::min(dash + 1, text.size())));
}

void checkWords(const HeaderCheck &check) {
    checkVersion(check);
    for (const std::string &dependency : check.meta.uncheckedRequirements())
        if (const auto objection = objectionTo(dependency))
            check.logger.log(*objection, {dependency});
    for (const std::string &capability : check.meta.provides())
        if (isDisguisedHandler(check.config, capability))
            check.logger.log(HardeningRule::ForbiddenMimeType, {capability});
}

} // namespace Validator
