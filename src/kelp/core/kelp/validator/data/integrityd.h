#pragma once

#include "kelp/core/kelp/validator/framework/checker.h"

namespace Validator {

/// Checks that the package's configuration of the integrity daemon watches nothing but what the package
/// ships.
class Integrityd final : public ValidatorBase<IValidator> {
public:
    Integrityd(std::shared_ptr<RpmMeta> meta, std::shared_ptr<Config> config, std::shared_ptr<Logger> logger);

    /// A file that readWatchedFiles() cannot read is reported as invalid JSON.
    void validate(const std::string &path, const std::string &realPath) override;

    /// True for the file in the daemon's directory that bears the package's name.
    bool canValidate(const std::string &path, const std::string &realPath) override;

    void finish() override {}
};

} // namespace Validator
