#pragma once

#include "kelp/core/kelp/validator/configuration/config-extended.h"

namespace Configuration {

/// The policy for a client of the device management.
class ConfigMDM : public ConfigExtended {
public:
    ConfigMDM();
};

} // namespace Configuration
