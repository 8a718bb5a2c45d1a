#include "kelp/core/kelp/validator/configuration/small-profiles.h"

#include "kelp/core/kelp/validator/configuration/profile-rows.h"

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

ConfigMDM::ConfigMDM() {
    name = "mdm";
    requiredPackage = "mdm-client";
    addStrings(allowedPermissions, MdmRows::allowedPermissions);
    addStrings(allowedLibraries, MdmRows::allowedLibraries);
    addStrings(unstableLibraries, MdmRows::unstableLibraries);
    addStrings(unstableQmlImports, MdmRows::unstableQmlImports);
}

ConfigAuth::ConfigAuth() {
    name = "auth";
    addStrings(allowedPaths, AuthRows::allowedPaths);
    addStrings(allowedPermissions, AuthRows::allowedPermissions);
    addExpressions(allowedLibraries, AuthRows::allowedLibrariesExpressions);
}

ConfigAntivirus::ConfigAntivirus() {
    name = "antivirus";
    addStrings(allowedPaths, AntivirusRows::allowedPaths);
    addStrings(allowedPermissions, AntivirusRows::allowedPermissions);
    addStrings(allowedLibraries, AntivirusRows::allowedLibraries);
}

ConfigMarket::ConfigMarket() {
    name = "market";
    addExpressions(allowedPaths, MarketRows::allowedPathsExpressions);
    addStrings(allowedPermissions, MarketRows::allowedPermissions);
    addStrings(allowedLibraries, MarketRows::allowedLibraries);
}

ConfigSystemApp::ConfigSystemApp() {
    name = "systemapp";
    addStrings(allowedPermissions, SystemAppRows::allowedPermissions);
}

ConfigPwa::ConfigPwa() {
    name = "pwa";
    addStrings(allowedPermissions, PwaRows::allowedPermissions);
}

} // namespace Configuration
