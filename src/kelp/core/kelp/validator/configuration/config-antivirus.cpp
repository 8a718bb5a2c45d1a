#include "kelp/core/kelp/validator/configuration/config-antivirus.h"

#include "kelp/core/kelp/validator/configuration/rows-antivirus.h"
#include "kelp/core/kelp/validator/configuration/rows.h"

namespace Configuration {

ConfigAntivirus::ConfigAntivirus() {
    name = "antivirus";
    addStrings(allowedPaths, AntivirusRows::allowedPaths);
    addStrings(allowedPermissions, AntivirusRows::allowedPermissions);
    addStrings(allowedLibraries, AntivirusRows::allowedLibraries);
}

} // namespace Configuration
