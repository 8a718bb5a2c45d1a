#pragma once

#include "kelp/core/kelp/validator/framework/checker.h"

namespace Validator {

/// Checks the optional manifest of a package: a JSON object of known keys that names the first version of
/// the system, or one for each release line, on which the package runs.
///
/// A manifest of more than a megabyte, and one that nests deeper than 32 levels, counts as invalid JSON.
class Manifest final : public ValidatorBase<IValidator> {
public:
    Manifest(std::shared_ptr<RpmMeta> meta, std::shared_ptr<Config> config, std::shared_ptr<Logger> logger);

    /// Raises as Common::osVersion() and isCompatible() do.
    void validate(const std::string &path, const std::string &realPath) override;

    /// True for "/manifest.json" alone.
    bool canValidate(const std::string &path, const std::string &realPath) override;

    void finish() override {}
};

} // namespace Validator
