#include "kelp/core/kelp/validator/configuration/config-auth.h"

#include "kelp/core/kelp/validator/configuration/rows-auth.h"
#include "kelp/core/kelp/validator/configuration/rows.h"

namespace Configuration {

ConfigAuth::ConfigAuth() {
    name = "auth";
    addStrings(allowedPaths, AuthRows::allowedPaths);
    addStrings(allowedPermissions, AuthRows::allowedPermissions);
    addExpressions(allowedLibraries, AuthRows::allowedLibrariesExpressions);
}

} // namespace Configuration
