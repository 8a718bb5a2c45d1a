#include "kelp/core/kelp/validator/configuration/config-system-app.h"

#include "kelp/core/kelp/validator/configuration/rows-system-app.h"
#include "kelp/core/kelp/validator/configuration/rows.h"

namespace Configuration {

ConfigSystemApp::ConfigSystemApp() {
    name = "systemapp";
    addStrings(allowedPermissions, SystemAppRows::allowedPermissions);
}

} // namespace Configuration
