#pragma once

#include "kelp/core/kelp/validator/configuration/config-regular.h"

namespace Configuration {

/// The policy for an application store.
class ConfigMarket : public ConfigRegular {
public:
    ConfigMarket();
};

} // namespace Configuration
