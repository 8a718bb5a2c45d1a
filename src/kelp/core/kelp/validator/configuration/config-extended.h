#pragma once

#include "kelp/core/kelp/validator/configuration/config-regular.h"

namespace Configuration {

/// The policy for an extended application.
class ConfigExtended : public ConfigRegular {
public:
    ConfigExtended();

    bool isDesktopFileRequired() const override { return false; }
    bool isIconRequired(const std::string &) const override { return false; }
};

} // namespace Configuration
