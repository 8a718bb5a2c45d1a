#pragma once

#include "kelp/core/kelp/validator/framework/checker.h"

namespace Validator {

/// Checks the group of a desktop file that declares which inputs, interfaces and orientations an application
/// supports. A desktop file without this group passes. Reads the file as plain ini, and reports one that is
/// no ini, even if the platform's own reader of desktop files accepts it.
class DesktopCapabilities final : public ValidatorBase<ISubValidator> {
public:
    DesktopCapabilities(std::shared_ptr<RpmMeta> meta, std::shared_ptr<Config> config,
                        std::shared_ptr<Logger> logger);

    void validate(const std::string &path, const std::string &realPath) override;

private:
    void check(const std::string &key, const std::string &value);
};

} // namespace Validator
