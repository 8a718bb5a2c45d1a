#pragma once

#include "kelp/core/kelp/validator/configuration/config.h"
#include "kelp/core/kelp/validator/framework/logger.h"
#include "kelp/core/kelp/validator/framework/rpm-meta.h"

#include <memory>
#include <string>
#include <utility>

namespace Validator {

/// A checker of one file. Its findings go to the report, and are never exceptions.
class ISubValidator {
public:
    virtual ~ISubValidator() = default;

    /// Judges a file: `path` is its name in the package, `realPath` its present place unpacked.
    virtual void validate(const std::string &path, const std::string &realPath) = 0;
};

/// A checker that chooses its files among all files of a package.
class IValidator : public ISubValidator {
public:
    /// Whether this file concerns the checker. Asked once for every file of the package, so that the checker
    /// can remember facts about files that it does not judge.
    virtual bool canValidate(const std::string &path, const std::string &realPath) = 0;

    /// Called once, when all files have been seen.
    virtual void finish() = 0;
};

/// The base of all checkers. `Interface` is ISubValidator or IValidator.
template<class Interface>
class ValidatorBase : public Interface {
protected:
    ValidatorBase(std::shared_ptr<RpmMeta> meta, std::shared_ptr<Config> config,
                  std::shared_ptr<Logger> logger) :
        meta_(std::move(meta)), config_(std::move(config)), logger_(std::move(logger)) {}

    /// Keeps the strings of a validate() call.
    void remember(const std::string &path, const std::string &realPath) {
        path_ = path;
        realPath_ = realPath;
    }

    std::shared_ptr<RpmMeta> meta_;
    std::shared_ptr<Config> config_;
    std::shared_ptr<Logger> logger_;
    std::string path_;
    std::string realPath_;
};

} // namespace Validator
