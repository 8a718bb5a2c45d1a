#pragma once

#include "kelp/core/kelp/validator/framework/checker.h"

namespace Validator {

/// Checks that there is one reading of the package's configuration of the integrity daemon: which of two
/// roots or of two members of one name counts differs from reader to reader.
class IntegrityHardening final : public ValidatorBase<IValidator> {
public:
    IntegrityHardening(std::shared_ptr<RpmMeta> meta, std::shared_ptr<Config> config,
                       std::shared_ptr<Logger> logger);

    /// Has nothing to say of a file that the daemon's own checker refuses.
    void validate(const std::string &path, const std::string &realPath) override;
    bool canValidate(const std::string &path, const std::string &realPath) override;
    void finish() override {}
};

} // namespace Validator
