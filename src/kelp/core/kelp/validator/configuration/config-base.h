#pragma once

#include "kelp/core/kelp/validator/configuration/pattern-set.h"

#include <cstdint>
#include <string>
#include <vector>

namespace Configuration {

/// Whether errors fail a package.
struct DeveloperMode {
    /// Reads var/lib/developer-moded/developer-moded.conf below the root prefix, an ini file with the key
    /// "developermode.validationEnabled"; if it takes the default, true, it reports that on standard error.
    static DeveloperMode ofMachine();

    bool validationEnabled = true;
};

/// What a package of one kind may do. A derived class only adds to its base's lists.
class ConfigBase {
public:
    ConfigBase(const ConfigBase &) = delete;
    ConfigBase &operator=(const ConfigBase &) = delete;
    virtual ~ConfigBase() = default;

    virtual bool isDesktopFileRequired() const = 0;
    /// No profile uses the path.
    virtual bool isIconRequired(const std::string &path) const = 0;

    bool validationEnabled; ///< Whether errors fail a package; the developer mode can switch that off.
    std::vector<std::int32_t> iconSizes;
    std::string name;
    std::string binDir;
    std::string shareDir;
    std::string applicationsDir;
    std::string iconsDir;
    std::string libexecDir;
    std::string requiredPackage; ///< The name that the package must provide and conflict with; may be empty.
    PatternSet allowedPaths;     ///< Allowed places beyond the package's own areas.
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
