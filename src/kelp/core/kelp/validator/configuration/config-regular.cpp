#include "kelp/core/kelp/validator/configuration/config-regular.h"

#include "kelp/core/kelp/validator/configuration/profile-rows.h"
#include "kelp/core/kelp/validator/configuration/regular-libraries.h"
#include "kelp/core/kelp/validator/configuration/regular-qml-imports.h"
#include "kelp/core/kelp/validator/configuration/regular-requires.h"

namespace Configuration {

ConfigRegular::ConfigRegular(const DeveloperMode &mode) : ConfigBase(mode) {
    name = "regular";
    // All of /usr/bin: the checks of the header and of programs decide by the name what may be executable
    // there.
    addExpressions(allowedPaths, RegularRows::allowedPathsExpressions);
    addStrings(allowedPermissions, RegularRows::allowedPermissions);
    // Also among the requirements: rpmbuild adds the libraries of programs there.
    addStrings(allowedLibraries, RegularRows::allowedLibraries);
    addExpressions(allowedLibraries, RegularRows::allowedLibrariesExpressions);
    addStrings(unstableLibraries, RegularRows::unstableLibraries);
    addExpressions(unstableLibraries, RegularRows::unstableLibrariesExpressions);
    addStrings(deprecatedLibraries, RegularRows::deprecatedLibraries);
    addExpressions(deprecatedLibraries, RegularRows::deprecatedLibrariesExpressions);
    addStrings(allowedRequires, RegularRows::allowedRequires);
    addExpressions(allowedRequires, RegularRows::allowedRequiresExpressions);
    addStrings(unstableRequires, RegularRows::unstableRequires);
    addStrings(deprecatedRequires, RegularRows::deprecatedRequires);
    addStrings(allowedQmlImports, RegularRows::allowedQmlImports);
    addStrings(unstableQmlImports, RegularRows::unstableQmlImports);
    addStrings(deprecatedQmlImports, RegularRows::deprecatedQmlImports);
}

} // namespace Configuration
