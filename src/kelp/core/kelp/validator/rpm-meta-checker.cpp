#include "kelp/core/kelp/validator/rpm-meta-checker.h"

#include "kelp/core/kelp/validator/framework/logger.h"
#include "kelp/core/kelp/validator/framework/text.h"
#include "kelp/core/kelp/validator/hardening/header-hardening.h"
#include "kelp/core/kelp/validator/header/header-checks.h"

namespace Validator {

RpmMetaChecker::RpmMetaChecker(std::shared_ptr<Config> config, const RpmMeta &meta, FindingSink sink,
                               std::size_t mostOfId) :
    config_(std::move(config)), meta_(meta), logger_(std::move(sink), mostOfId) {}

bool RpmMetaChecker::validateMeta() {
    const HeaderCheck check{meta_, *config_, logger_};
    // No check ends the stage: makers see all findings of the header at once, in this order.
    checkName();
    checkVendor();
    checkProvides(check);
    checkConflicts(check);
    checkObsoletes(check);
    checkRequirements(check);
    checkScripts();
    // The header's list, before anything is unpacked: the payload cannot hide an entry from it.
    for (const FileInfo &file : meta_.files())
        checkFile(check, file);
    checkEmptyDirectories(check);
    checkHeaderHardening(check);
    return takeVerdict(logger_, *config_);
}

void RpmMetaChecker::checkName() {
    if (!isReverseDomain(meta_.name(), 3))
        logger_.log(PathRule::NotReverseDomain);
}

void RpmMetaChecker::checkVendor() {
    const std::string &vendor = meta_.vendor();
    if (!vendor.empty())
        logger_.log(vendor == discouragedVendor ? PathRule::DiscouragedVendor : PathRule::ForbiddenVendor,
                    {vendor});
}

void RpmMetaChecker::checkScripts() {
    // Critical: no developer mode lets in scripts that run as root, outside the sandbox.
    if (meta_.hasScripts())
        logger_.log(PathRule::HasScripts);
}

} // namespace Validator
