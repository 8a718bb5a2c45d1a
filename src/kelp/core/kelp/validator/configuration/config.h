#pragma once

#include "kelp/core/kelp/validator/configuration/profile.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Configuration {
class ConfigBase;
class PatternSet;
} // namespace Configuration

namespace Validator {

/// The device for which a package is judged, if not this machine.
struct Target {
    bool validationEnabled = true;        ///< By the device's developer mode.
    std::optional<std::string> osVersion; ///< Empty if unknown.
};

/// The active profile, shared by all checkers of one validation. The references live as long as the object.
class Config {
public:
    /// The policy of a profile on this machine, whose developer mode is read (DeveloperMode::ofMachine()). A
    /// value outside of the enumeration counts as Profile::Regular.
    explicit Config(Profile profile);
    /// The same for another device: reads nothing of this machine.
    Config(Profile profile, Target target);

    /// The version of the operating system; for this machine as Common::osVersion(), which may raise.
    std::optional<std::string> osVersion() const;

    /// Whether errors fail a package; critical findings always do.
    bool validationEnabled() const;
    bool isDesktopFileRequired() const;
    /// Whether a package must have its icon at a path, in all of iconSizes(), in pixels. At present the same
    /// for all paths.
    bool isIconRequired(const std::string &path) const;

    const std::vector<std::int32_t> &iconSizes() const;
    const std::string &name() const;
    const std::string &binDir() const;
    const std::string &shareDir() const;
    const std::string &applicationsDir() const;
    const std::string &iconsDir() const;
    const std::string &libexecDir() const;
    /// The name that the package must provide and conflict with; may be empty.
    const std::string &requiredPackage() const;
    const Configuration::PatternSet &allowedPaths() const;
    const Configuration::PatternSet &allowedPermissions() const;
    const Configuration::PatternSet &allowedLibraries() const;
    const Configuration::PatternSet &unstableLibraries() const;
    const Configuration::PatternSet &deprecatedLibraries() const;
    const Configuration::PatternSet &allowedRequires() const;
    const Configuration::PatternSet &unstableRequires() const;
    const Configuration::PatternSet &deprecatedRequires() const;
    const Configuration::PatternSet &allowedQmlImports() const;
    const Configuration::PatternSet &unstableQmlImports() const;
    const Configuration::PatternSet &deprecatedQmlImports() const;
    const Configuration::PatternSet &reservedQmlImports() const;
    const Configuration::PatternSet &forbiddenMimeTypes() const;

private:
    std::shared_ptr<Configuration::ConfigBase> base_;
    std::optional<Target> target_; ///< Empty for this machine.
};

} // namespace Validator
