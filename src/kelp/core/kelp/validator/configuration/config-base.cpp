#include "kelp/core/kelp/validator/configuration/config-base.h"

#include "kelp/core/kelp/validator/configuration/profile-rows.h"

namespace Configuration {

ConfigBase::ConfigBase(const DeveloperMode &mode) :
    validationEnabled(mode.validationEnabled),
    iconSizes{86, 108, 128, 172},
    binDir("/usr/bin/"),
    shareDir("/usr/share/"),
    applicationsDir("/usr/share/applications/"),
    iconsDir("/usr/share/icons/hicolor/"),
    libexecDir("/usr/libexec/") {
    // What every profile has: those that derive from this one only add rows.
    addExpressions(reservedQmlImports, BaseRows::reservedQmlImportsExpressions);
    addStrings(forbiddenMimeTypes, BaseRows::forbiddenMimeTypes);
    addStrings(allowedPaths, BaseRows::allowedPaths);
}

} // namespace Configuration
