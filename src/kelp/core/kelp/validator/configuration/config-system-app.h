#pragma once

#include "kelp/core/kelp/validator/configuration/config-regular.h"

namespace Configuration {

/// The policy for an application of the system.
class ConfigSystemApp : public ConfigRegular {
public:
    ConfigSystemApp();
};

} // namespace Configuration
