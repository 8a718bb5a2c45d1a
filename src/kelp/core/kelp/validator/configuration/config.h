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

/// The device for which a package is judged, when that is not this machine.
struct Target {
    bool validationEnabled = true;        ///< What the developer mode says there.
    std::optional<std::string> osVersion; ///< Empty when nobody knows.
};

/// The handle on the active profile, by which all checkers of one validation ask for policy. The references
/// live as long as the object.
class Config {
public:
    /// The policy of a profile on this machine, whose developer mode is read (DeveloperMode::ofMachine()).
    /// A profile that is none of the enumeration counts as Profile::Regular.
    explicit Config(Profile profile);
    /// The same for another device: nothing of this machine is looked at.
    Config(Profile profile, Target target);

    /// The version of the operating system; of this machine as Common::osVersion() tells it, and raises.
    std::optional<std::string> osVersion() const;

    /// Whether errors fail a package; critical findings always do.
    bool validationEnabled() const;
    bool isDesktopFileRequired() const;
    /// Whether a package must have its icon at a path, in all of iconSizes(), which are in pixels; at present
    /// the same answer for all paths.
    bool isIconRequired(const std::string &path) const;

    const std::vector<std::int32_t> &iconSizes() const;
    const std::string &name() const;
    const std::string &binDir() const;
    const std::string &shareDir() const;
    const std::string &applicationsDir() const;
    const std::string &iconsDir() const;
    const std::string &libexecDir() const;
    /// What the package must provide and conflict with; empty for nothing.
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
