#include "kelp/core/kelp/validator/data/integrityd.h"

#include "kelp/core/kelp/validator/data/data-findings.h"
#include "kelp/core/kelp/validator/data/integrity-file.h"

#include <algorithm>

namespace Validator {

Integrityd::Integrityd(std::shared_ptr<RpmMeta> meta, std::shared_ptr<Config> config,
                       std::shared_ptr<Logger> logger) :
    ValidatorBase(std::move(meta), std::move(config), std::move(logger)) {}

bool Integrityd::canValidate(const std::string &path, const std::string &) {
    return path == "/etc/integrityd/config.d/" + meta_->name() + ".json";
}

void Integrityd::validate(const std::string &path, const std::string &realPath) {
    remember(path, realPath);
    // A package may let only its own files be watched: those of the system change without it.
    const auto watched = readWatchedFiles(realPath_);
    if (!watched)
        logger_->log(IntegritydRule::InvalidJson);
    else if (!std::ranges::all_of(*watched, [this](const std::string &file) { return meta_->holds(file); }))
        logger_->log(IntegritydRule::ContentMismatch);
}

} // namespace Validator
