#pragma once

#include <filesystem>
#include <string>

namespace Core {
class IConfiguration;
}

namespace Core::KELP {

struct InstallationOptions {
    bool isDryRun = false;           ///< Only say whether it would be let in.
    bool isDowngradeAllowed = false; ///< An older version may take the place of a newer one.
};

/// What came of an installation.
struct Installed {
    std::string id;
    std::string version;
    std::string previousVersion; ///< Empty for a first installation.
    bool isComplete =
        true; ///< Lists, registry and binding are on disk as well; else an examination finds it.
};

/// Brings a package file into the store: refuses what its certificate, its architecture, its version or its
/// source speak against, before anything of it is unpacked; unpacks it under the validator's verdict; and
/// installs it, or updates what is installed. What an earlier run left unfinished is completed first.
///
/// The store is first, then the registry, then the binding to its source. Killed at any call, the machine has
/// the old version or the new one, whole, and an examination finds what is left to do. Raises Common::Error
/// with the code of the refusal, its text being the id and the code's own message, and what the package layer
/// and the store raise. The caller holds the writers' lock, except for a dry run.
Installed installPackage(const IConfiguration &configuration, const std::filesystem::path &file,
                         const InstallationOptions &options);

} // namespace Core::KELP
