#pragma once

#include "kelp/core/kelp/validator/configuration/config-regular.h"

namespace Configuration {

/// The policy for a virus scanner.
class ConfigAntivirus : public ConfigRegular {
public:
    ConfigAntivirus();

    bool isDesktopFileRequired() const override { return false; }
};

} // namespace Configuration
