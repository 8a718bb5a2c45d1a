#include "kelp/core/kelp/validator/rpm-meta-checker.h"

#include "kelp/core/kelp/validator/framework/logger.h"
#include "kelp/core/kelp/validator/header/dependency-rules.h"
#include "kelp/core/kelp/validator/header/file-rules.h"
#include "kelp/core/kelp/validator/header/meta-stage.h"

#include <algorithm>

namespace Validator {

namespace {

constexpr std::string_view discouragedVendor = "ondine";

/// Three or more parts with a full stop between each two, none of them empty.
bool isReverseDomain(std::string_view name) {
    return std::ranges::count(name, '.') >= 2 && !name.starts_with('.') && !name.ends_with('.') &&
           name.find("..") == std::string_view::npos;
}

} // namespace

RpmMetaChecker::RpmMetaChecker(std::shared_ptr<Config> config, const RpmMeta &meta) :
    config_(std::move(config)), meta_(meta) {}

bool RpmMetaChecker::run() {
    const MetaStage stage{meta_, *config_, logger_};
    checkName();
    checkVendor();
    checkProvides(stage);
    checkConflicts(stage);
    checkObsoletes(stage);
    checkRequirements(stage);
    checkScripts();
    for (const FileInfo &file : meta_.files())
        checkFile(stage, file);
    checkEmptyDirectories(stage);
    return takeVerdict(logger_, *config_);
}

void RpmMetaChecker::checkName() {
    if (!isReverseDomain(meta_.name()))
        logger_.log(PathRule::NotReverseDomain);
}

void RpmMetaChecker::checkVendor() {
    const std::string &vendor = meta_.vendor();
    if (!vendor.empty())
        logger_.log(vendor == discouragedVendor ? PathRule::DiscouragedVendor : PathRule::ForbiddenVendor,
                    {vendor});
}

void RpmMetaChecker::checkScripts() {
    if (meta_.hasScripts())
        logger_.log(PathRule::HasScripts);
}

} // namespace Validator
