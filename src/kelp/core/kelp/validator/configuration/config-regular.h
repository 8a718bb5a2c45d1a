#pragma once

#include "kelp/core/kelp/validator/configuration/config-base.h"

namespace Configuration {

/// The policy for a regular application.
class ConfigRegular : public ConfigBase {
public:
    explicit ConfigRegular(const DeveloperMode &mode = DeveloperMode::ofMachine());

    bool isDesktopFileRequired() const override { return true; }
    bool isIconRequired(const std::string &) const override { return true; }
};

} // namespace Configuration
