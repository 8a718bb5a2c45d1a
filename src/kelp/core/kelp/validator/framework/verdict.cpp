#include "kelp/core/kelp/validator/framework/verdict.h"

#include "kelp/core/kelp/validator/configuration/config.h"
#include "kelp/core/kelp/validator/framework/logger.h"

namespace Validator {

bool takeVerdict(Logger &logger, const Config &config) {
    const bool errorSeen = logger.errorSeen();
    logger.clearError();
    return logger.criticalSeen() || (errorSeen && config.validationEnabled());
}

} // namespace Validator
