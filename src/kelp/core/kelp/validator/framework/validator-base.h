#pragma once

#include "kelp/core/kelp/validator/configuration/config.h"
#include "kelp/core/kelp/validator/framework/logger.h"
#include "kelp/core/kelp/validator/framework/rpm-meta.h"

#include <memory>
#include <string>
#include <utility>

namespace Validator {

/// What all checkers have in common. `Interface` is ISubValidator or IValidator.
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
