#pragma once

#include "kelp/core/kelp/validator/framework/checker.h"

#include <string_view>
#include <vector>

namespace Validator {

/// Checks the optional manifest of a package. It is a JSON object, in which an unknown key gets a warning. It
/// names the first version of the system on which the package runs, or one such version for each release
/// line.
///
/// A manifest of more than a megabyte, and one that nests deeper than 32 levels, counts as invalid JSON.
class Manifest final : public ValidatorBase<IValidator> {
public:
    Manifest(std::shared_ptr<RpmMeta> meta, std::shared_ptr<Config> config, std::shared_ptr<Logger> logger);

    /// Raises as MappedFile::open() and Config::osVersion() do.
    void validate(const std::string &path, const std::string &realPath) override;

    /// True for "/manifest.json" alone.
    bool canValidate(const std::string &path, const std::string &realPath) override;

    void finish() override {}

private:
    void checkVersions(const std::vector<std::string_view> &needed) const;
};

} // namespace Validator
