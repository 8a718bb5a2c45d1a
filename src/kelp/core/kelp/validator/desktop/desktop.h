#pragma once

#include "kelp/core/kelp/mappings/mapping.h"
#include "kelp/core/kelp/validator/framework/checker.h"

#include <string>
#include <vector>

namespace AppManifest {
class ManifestEntry;
}

namespace Validator {

/// Where the files of a package lie while it is judged.
struct UnpackedTree {
    std::string root;
    std::vector<Core::KELP::Mapping>
        mappings; ///< How its layout differs from the system's; empty if it does not.
};

/// Whether a D-Bus launch line starts a program of the application. That is the main binary, by its name, or
/// a program in the package's directory below /usr/libexec. For the latter all links in the program's path
/// are followed, and the result need only contain the text of the directory's path. A missing program prints
/// a line on standard error, and passes only as the main binary. A look that fails raises
/// ErrorCode::Filesystem "Couldn't look at file: PATH".
bool isExecDBusAllowed(const std::string &launchLine, const std::string &packageName,
                       const UnpackedTree &tree);

/// Judges the desktop file of the package and, at the end, the parts of the package that depend on it.
/// Ignores files of other names in the applications directory.
class Desktop final : public ValidatorBase<IValidator> {
public:
    Desktop(std::shared_ptr<RpmMeta> meta, std::shared_ptr<Config> config, std::shared_ptr<Logger> logger);

    /// Reports a file that does not parse as broken; finish() then reports it as missing. Both raise for an
    /// unreadable file.
    void validate(const std::string &path, const std::string &realPath) override;
    /// True for the desktop file that bears the package's name; remembers all paths of the shared data
    /// directory.
    bool canValidate(const std::string &path, const std::string &realPath) override;
    /// Reads the desktop file again, which must still lie unpacked, with all the files that it names.
    void finish() override;

    /// The directory below which the package is unpacked. Called before finish().
    void setInstallRoot(const std::string &root) { tree_.root = root; }
    /// How the unpacked layout differs from the system's. Called before finish().
    void setPathMappings(const std::vector<Core::KELP::Mapping> &mappings) { tree_.mappings = mappings; }

private:
    void reportMissing();
    void checkCommonPaths(const std::string &organisation);
    void checkExecDBus(const AppManifest::ManifestEntry &entry);

    std::string desktopRealPath_;
    std::vector<std::string> commonPaths_; ///< All files of the package in the shared data directory.
    UnpackedTree tree_;
};

} // namespace Validator
