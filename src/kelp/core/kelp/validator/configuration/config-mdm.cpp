#include "kelp/core/kelp/validator/configuration/config-mdm.h"

#include "kelp/core/kelp/validator/configuration/rows-mdm.h"
#include "kelp/core/kelp/validator/configuration/rows.h"

namespace Configuration {

ConfigMDM::ConfigMDM() {
    name = "mdm";
    requiredPackage = "mdm-client";
    addStrings(allowedPermissions, MdmRows::allowedPermissions);
    addStrings(allowedLibraries, MdmRows::allowedLibraries);
    addStrings(unstableLibraries, MdmRows::unstableLibraries);
    addStrings(unstableQmlImports, MdmRows::unstableQmlImports);
}

} // namespace Configuration
