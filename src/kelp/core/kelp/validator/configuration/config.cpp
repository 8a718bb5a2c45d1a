#include "kelp/core/kelp/validator/configuration/config.h"

#include "kelp/core/common/platform-facts.h"
#include "kelp/core/kelp/validator/configuration/config-regular.h"

#include <algorithm>

namespace Validator {

namespace {

using Configuration::DeveloperMode;
using Configuration::PatternSet;
using Base = std::shared_ptr<Configuration::ConfigBase>;

template<class Policy>
Base make(const DeveloperMode &mode) {
    return std::make_shared<Policy>(mode);
}

struct Factory {
    Profile profile;
    Base (*make)(const DeveloperMode &);
};

constexpr Factory factories[] = {
    {Profile::Regular, make<Configuration::ConfigRegular>},
    {Profile::Extended, make<Configuration::ConfigExtended>},
    {Profile::MDM, make<Configuration::ConfigMDM>},
    {Profile::Antivirus, make<Configuration::ConfigAntivirus>},
    {Profile::Auth, make<Configuration::ConfigAuth>},
    {Profile::Market, make<Configuration::ConfigMarket>},
    {Profile::SystemApp, make<Configuration::ConfigSystemApp>},
    {Profile::Pwa, make<Configuration::ConfigPwa>},
};

/// An unknown number gets the profile to which all others add: never more than it could have meant.
Base build(Profile profile, const DeveloperMode &mode) {
    const auto found = std::ranges::find(factories, profile, &Factory::profile);
    return found != std::end(factories) ? found->make(mode) : make<Configuration::ConfigRegular>(mode);
}

} // namespace

Config::Config(Profile profile) : base_(build(profile, DeveloperMode::ofMachine())) {}

Config::Config(Profile profile, Target target) :
    base_(build(profile, {target.validationEnabled})), target_(std::move(target)) {}

/// Read only for a package with a manifest: a machine without a version can still take all others.
std::optional<std::string> Config::osVersion() const {
    return target_ ? target_->osVersion : Common::osVersion();
}

bool Config::validationEnabled() const {
    return base_->validationEnabled;
}

bool Config::isDesktopFileRequired() const {
    return base_->isDesktopFileRequired();
}

bool Config::isIconRequired(const std::string &path) const {
    return base_->isIconRequired(path);
}

const std::vector<std::int32_t> &Config::iconSizes() const {
    return base_->iconSizes;
}

const std::string &Config::name() const {
    return base_->name;
}

const std::string &Config::binDir() const {
    return base_->binDir;
}

const std::string &Config::shareDir() const {
    return base_->shareDir;
}

const std::string &Config::applicationsDir() const {
    return base_->applicationsDir;
}

const std::string &Config::iconsDir() const {
    return base_->iconsDir;
}

const std::string &Config::libexecDir() const {
    return base_->libexecDir;
}

const std::string &Config::requiredPackage() const {
    return base_->requiredPackage;
}

const PatternSet &Config::allowedPaths() const {
    return base_->allowedPaths;
}

const PatternSet &Config::allowedPermissions() const {
    return base_->allowedPermissions;
}

const PatternSet &Config::allowedLibraries() const {
    return base_->allowedLibraries;
}

const PatternSet &Config::unstableLibraries() const {
    return base_->unstableLibraries;
}

const PatternSet &Config::deprecatedLibraries() const {
    return base_->deprecatedLibraries;
}

const PatternSet &Config::allowedRequires() const {
    return base_->allowedRequires;
}

const PatternSet &Config::unstableRequires() const {
    return base_->unstableRequires;
}

const PatternSet &Config::deprecatedRequires() const {
    return base_->deprecatedRequires;
}

const PatternSet &Config::allowedQmlImports() const {
    return base_->allowedQmlImports;
}

const PatternSet &Config::unstableQmlImports() const {
    return base_->unstableQmlImports;
}

const PatternSet &Config::deprecatedQmlImports() const {
    return base_->deprecatedQmlImports;
}

const PatternSet &Config::reservedQmlImports() const {
    return base_->reservedQmlImports;
}

const PatternSet &Config::forbiddenMimeTypes() const {
    return base_->forbiddenMimeTypes;
}

} // namespace Validator
