#pragma once

#include "kelp/core/kelp/validator/configuration/pattern-set.h"

#include <cstdint>
#include <string>
#include <vector>

namespace Configuration {

/// Whether errors fail a package.
struct DeveloperMode {
    /// Reads var/lib/developer-moded/developer-moded.conf below the root prefix, an ini file with the key
    /// "developermode.validationEnabled"; says so on standard error when it takes the default, true.
    static DeveloperMode ofMachine();

    bool validationEnabled = true;
};

/// What a package of one kind may do. A derived class only ever adds to what its base has built.
class ConfigBase {
public:
    ConfigBase(const ConfigBase &) = delete;
    ConfigBase &operator=(const ConfigBase &) = delete;
    virtual ~ConfigBase() = default;

    virtual bool isDesktopFileRequired() const = 0;
    /// No profile looks at the path.
    virtual bool isIconRequired(const std::string &path) const = 0;

    bool validationEnabled; ///< Whether errors fail a package; the developer mode can switch that off.
    std::vector<std::int32_t> iconSizes;
    std::string name;
    std::string binDir;
    std::string shareDir;
    std::string applicationsDir;
    std::string iconsDir;
    std::string libexecDir;
    std::string requiredPackage; ///< What the package must provide and conflict with; empty for nothing.
    PatternSet allowedPaths;     ///< Where a package may install beyond its own areas.
    PatternSet allowedPermissions;
    PatternSet allowedLibraries;
    PatternSet unstableLibraries;
    PatternSet deprecatedLibraries;
    PatternSet allowedRequires;
    PatternSet unstableRequires;
    PatternSet deprecatedRequires;
    PatternSet allowedQmlImports;
    PatternSet unstableQmlImports;
    PatternSet deprecatedQmlImports;
    PatternSet reservedQmlImports;
    PatternSet forbiddenMimeTypes;

protected:
    explicit ConfigBase(const DeveloperMode &mode);
};

} // namespace Configuration
