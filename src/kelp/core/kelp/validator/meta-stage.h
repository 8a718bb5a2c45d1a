#pragma once

#include "kelp/core/kelp/validator/configuration/config.h"
#include "kelp/core/kelp/validator/logger.h"
#include "kelp/core/kelp/validator/path-rule.h"
#include "kelp/core/kelp/validator/rpm-meta.h"

namespace Validator {

/// What every rule on a package's header works with.
struct MetaStage {
    const RpmMeta &meta;
    const Config &config;
    Logger &logger;
};

} // namespace Validator
