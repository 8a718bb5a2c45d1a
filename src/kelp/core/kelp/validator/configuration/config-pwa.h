#pragma once

#include "kelp/core/kelp/validator/configuration/config-regular.h"

namespace Configuration {

/// The policy for a web application.
class ConfigPwa : public ConfigRegular {
public:
    ConfigPwa();
};

} // namespace Configuration
