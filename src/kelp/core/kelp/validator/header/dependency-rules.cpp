#include "kelp/core/kelp/validator/header/dependency-rules.h"

#include "kelp/core/kelp/validator/configuration/pattern-set.h"
#include "kelp/core/kelp/validator/header/meta-stage.h"

#include <algorithm>
#include <optional>

namespace Validator {

namespace {

using Capabilities = std::vector<std::string>;

constexpr std::string_view handlerBeginning = "mimehandler(";

void checkRequiredPackage(const MetaStage &stage, const Capabilities &capabilities, PathRule missing) {
    const std::string &required = stage.config.requiredPackage();
    if (!required.empty() && std::ranges::find(capabilities, required) == capabilities.end())
        stage.logger.log(missing, {required});
}

/// The type in "mimehandler(TYPE)".
std::optional<std::string_view> handledType(std::string_view capability) {
    if (!capability.starts_with(handlerBeginning) || !capability.ends_with(')'))
        return std::nullopt;
    capability.remove_prefix(handlerBeginning.size());
    capability.remove_suffix(1);
    return capability;
}

bool mayProvide(const MetaStage &stage, std::string_view capability) {
    const std::string &name = stage.meta.name();
    if (capability == "application()" || capability.starts_with(name) ||
        capability == "application(" + name + ".desktop)" || capability == stage.config.requiredPackage())
        return true;
    const auto type = handledType(capability);
    return type && !stage.config.forbiddenMimeTypes().contains(*type);
}

std::optional<PathRule> objectionTo(const Config &config, std::string_view dependency) {
    if (config.allowedRequires().contains(dependency) || config.allowedLibraries().contains(dependency))
        return std::nullopt;
    for (const auto list : {&Config::unstableRequires, &Config::unstableLibraries,
                            &Config::deprecatedRequires, &Config::deprecatedLibraries})
        if ((config.*list)().contains(dependency))
            return PathRule::UnstableDependency;
    return PathRule::ForbiddenDependency;
}

} // namespace

void checkProvides(const MetaStage &stage) {
    checkRequiredPackage(stage, stage.meta.provides(), PathRule::MissingProvides);
    for (const std::string &capability : stage.meta.provides())
        if (!mayProvide(stage, capability))
            stage.logger.log(PathRule::ForbiddenProvides, {capability});
}

void checkConflicts(const MetaStage &stage) {
    checkRequiredPackage(stage, stage.meta.conflicts(), PathRule::MissingConflicts);
    for (const std::string &capability : stage.meta.conflicts())
        if (capability != stage.config.requiredPackage())
            stage.logger.log(PathRule::ForbiddenConflicts, {capability});
}

void checkObsoletes(const MetaStage &stage) {
    for (const std::string &capability : stage.meta.obsoletes())
        stage.logger.log(PathRule::ForbiddenObsoletes, {capability});
}

void checkRequirements(const MetaStage &stage) {
    for (const std::string &dependency : stage.meta.requirements())
        if (const auto objection = objectionTo(stage.config, dependency))
            stage.logger.log(*objection, {dependency});
}

} // namespace Validator
