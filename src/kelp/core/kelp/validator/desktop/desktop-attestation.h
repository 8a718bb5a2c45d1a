#pragma once

#include "kelp/core/kelp/validator/framework/checker.h"

#include "platform/app-manifest/manifest-entry.h"

#include <set>

namespace Validator {

/// Checks the group about failed attestation of the application. A file without it passes.
class DesktopAttestation final : public ValidatorBase<ISubValidator> {
public:
    DesktopAttestation(std::shared_ptr<RpmMeta> meta, std::shared_ptr<Config> config,
                       std::shared_ptr<Logger> logger);

    void validate(const std::string &path, const std::string &realPath) override;

private:
    using Keys = std::set<std::string, std::less<>>;

    bool reportMissing(const Keys &keys);
    bool reportUnknown(const Keys &keys);
    void checkValues(const Keys &keys);

    std::optional<AppManifest::ManifestEntry> entry_;
};

} // namespace Validator
