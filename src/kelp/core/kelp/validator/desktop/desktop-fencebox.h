#pragma once

#include "kelp/core/kelp/validator/desktop/desktop-findings.h"
#include "kelp/core/kelp/validator/framework/checker.h"

#include "platform/app-manifest/manifest-entry.h"

namespace Validator {

/// Checks the sandbox section of a desktop file: its names, permissions and services. Sets the flag
/// NoSandboxSection.
class DesktopFencebox final : public ValidatorBase<ISubValidator> {
public:
    DesktopFencebox(std::shared_ptr<RpmMeta> meta, std::shared_ptr<Config> config,
                    std::shared_ptr<Logger> logger);

    void validate(const std::string &path, const std::string &realPath) override;

private:
    void checkSections();
    void checkKeys();
    void checkOrganisationName();
    void checkApplicationName();
    void checkReservedPrefixes();
    void checkPackageName();
    void checkSystemService();
    void checkPermissions();
    void checkLauncher();
    void checkDash();

    bool isDeviceManager() const;
    bool hasDash() const;
    /// Whether the application declares a whole service for the system to start.
    bool hasService() const;
    bool has(const std::string &key) const { return entry_->contains(*section_, key); }
    std::string value(const std::string &key) const { return entry_->value(*section_, key); }

    std::optional<AppManifest::ManifestEntry> entry_;
    const std::string *section_ = nullptr; ///< The name of the section in use.
};

} // namespace Validator
