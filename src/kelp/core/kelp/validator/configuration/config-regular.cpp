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

/// The name is more than a label. Checks ask for "mdm", which may have a system service, for "auth", whose
/// writable files are tolerated, and for "pwa", which has no program of its own. File capabilities are
/// tolerated by name too: for "extended", "mdm" and "auth".
ConfigExtended::ConfigExtended(const DeveloperMode &mode) : ConfigRegular(mode) {
    name = "extended";
    addExpressions(allowedPaths, ExtendedRows::allowedPathsExpressions);
    addStrings(allowedPermissions, ExtendedRows::allowedPermissions);
    addStrings(allowedLibraries, ExtendedRows::allowedLibraries);
    addExpressions(deprecatedLibraries, ExtendedRows::deprecatedLibrariesExpressions);
    addStrings(allowedRequires, ExtendedRows::allowedRequires);
    addStrings(allowedQmlImports, ExtendedRows::allowedQmlImports);
    addStrings(deprecatedQmlImports, ExtendedRows::deprecatedQmlImports);
}

ConfigMDM::ConfigMDM(const DeveloperMode &mode) : ConfigExtended(mode) {
    name = "mdm";
    // A device has one client: its package both provides and conflicts with this name.
    requiredPackage = "mdm-client";
    addStrings(allowedPermissions, MdmRows::allowedPermissions);
    addStrings(allowedLibraries, MdmRows::allowedLibraries);
    addStrings(unstableLibraries, MdmRows::unstableLibraries);
    addStrings(unstableQmlImports, MdmRows::unstableQmlImports);
}

ConfigAuth::ConfigAuth(const DeveloperMode &mode) : ConfigExtended(mode) {
    name = "auth";
    addStrings(allowedPaths, AuthRows::allowedPaths);
    addStrings(allowedPermissions, AuthRows::allowedPermissions);
    addExpressions(allowedLibraries, AuthRows::allowedLibrariesExpressions);
}

ConfigAntivirus::ConfigAntivirus(const DeveloperMode &mode) : ConfigRegular(mode) {
    name = "antivirus";
    addStrings(allowedPaths, AntivirusRows::allowedPaths);
    addStrings(allowedPermissions, AntivirusRows::allowedPermissions);
    addStrings(allowedLibraries, AntivirusRows::allowedLibraries);
}

ConfigMarket::ConfigMarket(const DeveloperMode &mode) : ConfigRegular(mode) {
    name = "market";
    addExpressions(allowedPaths, MarketRows::allowedPathsExpressions);
    addStrings(allowedPermissions, MarketRows::allowedPermissions);
    addStrings(allowedLibraries, MarketRows::allowedLibraries);
}

ConfigSystemApp::ConfigSystemApp(const DeveloperMode &mode) : ConfigRegular(mode) {
    name = "systemapp";
    addStrings(allowedPermissions, SystemAppRows::allowedPermissions);
}

ConfigPwa::ConfigPwa(const DeveloperMode &mode) : ConfigRegular(mode) {
    name = "pwa";
    addStrings(allowedPermissions, PwaRows::allowedPermissions);
}

} // namespace Configuration
