#include "kelp/core/kelp/validator/header/header-checks.h"

#include "kelp/core/kelp/validator/configuration/pattern-set.h"

#include <algorithm>
#include <optional>

namespace Validator {

namespace {

using Capabilities = std::vector<std::string>;

/// rpmbuild makes these of the MIME types in the desktop file.
constexpr std::string_view handlerBeginning = "mimehandler(";

/// A package that both provides and conflicts with a name can be installed only once. A device has one client
/// of the device management, and finds it by that name.
void checkRequiredPackage(const HeaderCheck &check, const Capabilities &capabilities, PathRule missing) {
    const std::string &required = check.config.requiredPackage();
    if (!required.empty() && std::ranges::find(capabilities, required) == capabilities.end())
        check.logger.log(missing, {required});
}

/// The type in "mimehandler(TYPE)".
std::optional<std::string_view> handledType(std::string_view capability) {
    if (!capability.starts_with(handlerBeginning) || !capability.ends_with(')'))
        return std::nullopt;
    capability.remove_prefix(handlerBeginning.size());
    capability.remove_suffix(1);
    return capability;
}

bool mayProvide(const HeaderCheck &check, std::string_view capability) {
    // rpmbuild adds "NAME(ARCHITECTURE)", "application()" and "application(NAME.desktop)" by itself. With any
    // other name the package could satisfy requirements for another.
    const std::string &name = check.meta.name();
    if (capability == "application()" || capability.starts_with(name) ||
        capability == "application(" + name + ".desktop)" || capability == check.config.requiredPackage())
        return true;
    // Packages are no documents: a handler of their type would get those that users mean to install.
    const auto type = handledType(capability);
    return type && !check.config.forbiddenMimeTypes().contains(*type);
}

/// Requirements include sonames, which rpmbuild finds in programs. Allowed rows come first: profiles only add
/// to inherited rows, so a name may be in two lists.
std::optional<PathRule> objectionTo(const Config &config, std::string_view dependency) {
    if (config.allowedRequires().contains(dependency) || config.allowedLibraries().contains(dependency))
        return std::nullopt;
    // A warning: today's devices have it, and the application runs until a later system lacks it.
    for (const auto list : {&Config::unstableRequires, &Config::unstableLibraries,
                            &Config::deprecatedRequires, &Config::deprecatedLibraries})
        if ((config.*list)().contains(dependency))
            return PathRule::UnstableDependency;
    return PathRule::ForbiddenDependency;
}

} // namespace

void checkProvides(const HeaderCheck &check) {
    checkRequiredPackage(check, check.meta.provides(), PathRule::MissingProvides);
    for (const std::string &capability : check.meta.provides())
        if (!mayProvide(check, capability))
            check.logger.log(PathRule::ForbiddenProvides, {capability});
}

void checkConflicts(const HeaderCheck &check) {
    checkRequiredPackage(check, check.meta.conflicts(), PathRule::MissingConflicts);
    for (const std::string &capability : check.meta.conflicts())
        if (capability != check.config.requiredPackage())
            check.logger.log(PathRule::ForbiddenConflicts, {capability});
}

void checkObsoletes(const HeaderCheck &check) {
    for (const std::string &capability : check.meta.obsoletes())
        check.logger.log(PathRule::ForbiddenObsoletes, {capability});
}

void checkRequirements(const HeaderCheck &check) {
    for (const std::string &dependency : check.meta.requirements())
        if (const auto objection = objectionTo(check.config, dependency))
            check.logger.log(*objection, {dependency});
}

void appendHeaderRules(Rules &rules, const Config &config) {
    rules.push_back({"obsoletes", "forbidden", "*"});
    rules.push_back({"vendor", "deprecated", std::string(discouragedVendor)});
    rules.push_back({"vendor", "forbidden", "*"});
    if (const std::string &required = config.requiredPackage(); required.empty())
        rules.push_back({"conflicts", "forbidden", "*"});
    else
        for (const std::string_view topic : {"provides", "conflicts"})
            rules.push_back({topic, "required", required});
    appendRules(rules, "provides", "allowed",
                std::vector{"ID*", "application()", "application(ID.desktop)", "mimehandler(*)"});
    appendFileRules(rules);
}

} // namespace Validator
