#pragma once

#include "kelp/core/kelp/validator/framework/checker.h"

namespace Validator {

/// Checks that the package's configuration of the integrity daemon is unambiguous: readers differ on which of
/// two roots, or of two members of one name, counts.
class IntegrityHardening final : public ValidatorBase<IValidator> {
public:
    IntegrityHardening(std::shared_ptr<RpmMeta> meta, std::shared_ptr<Config> config,
                       std::shared_ptr<Logger> logger);

    /// Reports nothing for a file that the daemon's own checker refuses.
    void validate(const std::string &path, const std::string &realPath) override;
    bool canValidate(const std::string &path, const std::string &realPath) override;
    void finish() override {}
};

} // namespace Validator
