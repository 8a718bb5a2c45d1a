#pragma once

#include "kelp/core/kelp/validator/desktop/desktop-checks.h"
#include "kelp/core/kelp/validator/framework/checker.h"

namespace AppManifest {
class ManifestEntry;
}

namespace Validator {

/// Judges the desktop file of the package and, at the end, what of the package depends on it. A file in the
/// applications directory under any other name than the package's is no concern of this checker.
class Desktop final : public ValidatorBase<IValidator> {
public:
    Desktop(std::shared_ptr<RpmMeta> meta, std::shared_ptr<Config> config, std::shared_ptr<Logger> logger);

    /// A file that does not parse is reported as broken, and then as missing by finish(). Raises for one that
    /// cannot be read, as finish() does.
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
