#pragma once

#include "kelp/core/kelp/validator/configuration/config.h"
#include "kelp/core/kelp/validator/framework/logger.h"
#include "kelp/core/kelp/validator/framework/rpm-meta.h"
#include "kelp/core/kelp/validator/header/header-findings.h"

namespace Validator {

/// What every rule on a package's header works with.
struct MetaStage {
    const RpmMeta &meta;
    const Config &config;
    Logger &logger;
};

} // namespace Validator
