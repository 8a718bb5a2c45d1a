#pragma once

#include "kelp/core/kelp/validator/configuration/config-base.h"

namespace Configuration {

/// The policy for a regular application.
class ConfigRegular : public ConfigBase {
public:
    explicit ConfigRegular(const DeveloperMode &mode = DeveloperMode::ofMachine());

    bool isDesktopFileRequired() const override { return true; }
    bool isIconRequired(const std::string &) const override { return true; }
};

// The profiles that add little to that of a regular application.

/// The policy for an extended application.
class ConfigExtended : public ConfigRegular {
public:
    explicit ConfigExtended(const DeveloperMode &mode = DeveloperMode::ofMachine());

    bool isDesktopFileRequired() const override { return false; }
    bool isIconRequired(const std::string &) const override { return false; }
};

/// The policy for a client of the device management.
class ConfigMDM : public ConfigExtended {
public:
    explicit ConfigMDM(const DeveloperMode &mode = DeveloperMode::ofMachine());
};

/// The policy for an application that authenticates users.
class ConfigAuth : public ConfigExtended {
public:
    explicit ConfigAuth(const DeveloperMode &mode = DeveloperMode::ofMachine());
};

/// The policy for a virus scanner.
class ConfigAntivirus : public ConfigRegular {
public:
    explicit ConfigAntivirus(const DeveloperMode &mode = DeveloperMode::ofMachine());

    bool isDesktopFileRequired() const override { return false; }
};

/// The policy for an application store.
class ConfigMarket : public ConfigRegular {
public:
    explicit ConfigMarket(const DeveloperMode &mode = DeveloperMode::ofMachine());
};

/// The policy for an application of the system.
class ConfigSystemApp : public ConfigRegular {
public:
    explicit ConfigSystemApp(const DeveloperMode &mode = DeveloperMode::ofMachine());
};

/// The policy for a web application.
class ConfigPwa : public ConfigRegular {
public:
    explicit ConfigPwa(const DeveloperMode &mode = DeveloperMode::ofMachine());
};

} // namespace Configuration
