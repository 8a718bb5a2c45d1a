#pragma once

#include "kelp/core/kelp/validator/configuration/config.h"
#include "kelp/core/kelp/validator/framework/logger.h"
#include "kelp/core/kelp/validator/framework/rpm-meta.h"

#include <memory>

namespace Validator {

/// The first stage of validation: the rules on a package's header, its names, dependencies, scripts and file
/// list. It has a report of its own.
class RpmMetaChecker {
public:
    /// Findings go to the sink, as in Logger; to standard error when it is empty.
    RpmMetaChecker(std::shared_ptr<Config> config, const RpmMeta &meta, FindingSink sink = {},
                   std::size_t mostOfId = allOfId);

    /// Runs all checks and returns whether the package failed. Takes n log n time for a package of n files.
    bool validateMeta();

private:
    void checkName();
    void checkVendor();
    void checkScripts();

    std::shared_ptr<Config> config_;
    RpmMeta meta_;
    Logger logger_;
};

} // namespace Validator
