#pragma once

namespace Configuration {

/// Whether errors fail a package.
struct DeveloperMode {
    /// Reads var/lib/developer-moded/developer-moded.conf below the root prefix, an ini file with the key
    /// "developermode.validationEnabled"; says so on standard error when it takes the default, true.
    static DeveloperMode ofMachine();

    bool validationEnabled = true;
};

} // namespace Configuration
