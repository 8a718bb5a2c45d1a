#pragma once

#include "kelp/core/common/files/file-identity.h"
#include "kelp/core/kelp/validator/framework/checker.h"

#include <map>

namespace Validator {

/// Lets the platform's validator of managed configuration judge the package's configuration parameter files.
/// Its exceptions pass.
class ConfigurationParameterFile final : public ValidatorBase<IValidator> {
public:
    ConfigurationParameterFile(std::shared_ptr<RpmMeta> meta, std::shared_ptr<Config> config,
                               std::shared_ptr<Logger> logger);

    void validate(const std::string &path, const std::string &realPath) override;
    /// True if the platform takes the path for such a file of a package of this name.
    bool canValidate(const std::string &path, const std::string &realPath) override;
    void finish() override {}

private:
    bool isValid(const std::string &realPath);

    std::map<Common::FileIdentity, bool> areValid_; ///< The files that were read.
};

} // namespace Validator
