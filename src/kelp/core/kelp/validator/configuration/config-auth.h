#pragma once

#include "kelp/core/kelp/validator/configuration/config-extended.h"

namespace Configuration {

/// The policy for an application that authenticates users.
class ConfigAuth : public ConfigExtended {
public:
    ConfigAuth();
};

} // namespace Configuration
