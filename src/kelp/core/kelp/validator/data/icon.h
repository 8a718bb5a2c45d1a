#pragma once

#include "kelp/core/kelp/validator/framework/checker.h"

#include <unordered_set>

namespace Validator {

/// Checks that a package ships its icon in every size that the profile requires, and that each has the
/// dimensions in its path. A profile that requires no icon switches the check off.
class Icon final : public ValidatorBase<IValidator> {
public:
    Icon(std::shared_ptr<RpmMeta> meta, std::shared_ptr<Config> config, std::shared_ptr<Logger> logger);

    /// A file other than a PNG counts as one of the wrong size. Raises as MappedFile::open() does.
    void validate(const std::string &path, const std::string &realPath) override;

    /// True once for each icon that is expected.
    bool canValidate(const std::string &path, const std::string &realPath) override;

    /// Reports each expected icon that was in none of the files.
    void finish() override;

private:
    std::string expectedPath(std::int32_t size) const;

    std::unordered_set<std::string> missing_; ///< The expected icons that have not been seen yet.
};

} // namespace Validator
