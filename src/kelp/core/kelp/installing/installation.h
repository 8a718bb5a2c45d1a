#pragma once

#include <filesystem>
#include <string>

namespace Core {
class IConfiguration;
}

namespace Core::KELP {

struct InstallationOptions {
    bool isDryRun = false;           ///< Only say whether the package would be let in.
    bool isDowngradeAllowed = false; ///< An older version may take the place of a newer one.
};

/// The result of an installation.
struct Installed {
    std::string id;
    std::string version;
    std::string previousVersion; ///< Empty for a first installation.
    bool isComplete =
        true; ///< Lists, registry and binding are on disk as well; else doctor --repair completes them.
};

/// Brings a package file into the store. Refuses a damaged file. Except in a dry run, it then mends the
/// findings of this package, and of another one whose installation was interrupted (mend()), and fails if an
/// older removal of this package cannot be completed. Then it refuses a wrong certificate, architecture,
/// version or source, a package that rpm still has, a mount in a version, and foreign entries at the
/// package's place in the store. It also refuses while the installed version has no readable descriptor, and
/// while there is no current version but a prepared one. Then it unpacks the file, where no other user
/// reaches it, under the validator's verdict. If its files cannot be published (publicationObstacle()), it
/// refuses the package now. Otherwise it installs the package or updates it.
///
/// The package enters the store first, then the registry, then the database of sources. After a kill at any
/// moment the store has the old version or the new one, whole. `kelpctl doctor` finds the remaining work.
///
/// A refusal raises Common::Error. Most refusals have the code of their reason, and a text that begins with
/// the id and that code's message. A package that rpm still has and an unreadable descriptor have
/// ErrorCode::Internal and a text of their own. Also raises what the package layer and the store raise. The
/// caller holds the writers' lock, except for a dry run.
Installed installPackage(const IConfiguration &configuration, const std::filesystem::path &file,
                         const InstallationOptions &options);

} // namespace Core::KELP
