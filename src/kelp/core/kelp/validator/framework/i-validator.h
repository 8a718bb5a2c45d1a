#pragma once

#include "kelp/core/kelp/validator/framework/i-sub-validator.h"

namespace Validator {

/// A checker that chooses its files among all files of a package.
class IValidator : public ISubValidator {
public:
    /// Whether this file concerns the checker. Asked once for every file of the package, so that the checker
    /// can remember facts about files that it does not judge.
    virtual bool canValidate(const std::string &path, const std::string &realPath) = 0;

    /// Called once, when all files have been seen.
    virtual void finish() = 0;
};

} // namespace Validator
