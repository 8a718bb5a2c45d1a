#include "kelp/core/kelp/validator/configuration/config-pwa.h"

#include "kelp/core/kelp/validator/configuration/rows-pwa.h"
#include "kelp/core/kelp/validator/configuration/rows.h"

namespace Configuration {

ConfigPwa::ConfigPwa() {
    name = "pwa";
    addStrings(allowedPermissions, PwaRows::allowedPermissions);
}

} // namespace Configuration
