#include "kelp/core/kelp/validator/configuration/config-extended.h"

#include "kelp/core/kelp/validator/configuration/rows-extended.h"
#include "kelp/core/kelp/validator/configuration/rows.h"

namespace Configuration {

ConfigExtended::ConfigExtended() {
    name = "extended";
    addExpressions(allowedPaths, ExtendedRows::allowedPathsExpressions);
    addStrings(allowedPermissions, ExtendedRows::allowedPermissions);
    addStrings(allowedLibraries, ExtendedRows::allowedLibraries);
    addExpressions(deprecatedLibraries, ExtendedRows::deprecatedLibrariesExpressions);
    addStrings(allowedRequires, ExtendedRows::allowedRequires);
    addStrings(allowedQmlImports, ExtendedRows::allowedQmlImports);
    addStrings(deprecatedQmlImports, ExtendedRows::deprecatedQmlImports);
}

} // namespace Configuration
