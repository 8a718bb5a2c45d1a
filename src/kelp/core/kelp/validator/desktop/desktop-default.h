#pragma once

#include "kelp/core/kelp/validator/framework/checker.h"

#include "platform/app-manifest/manifest-entry.h"

#include <optional>
#include <string_view>

namespace Validator {

/// Whether a text can be shown below an icon. It must be well-formed UTF-8 with at least one character other
/// than a blank. It must have no control, format, separator, private or unassigned characters, except the
/// blanks U+0020 and U+00A0.
bool isDisplayName(std::string_view text);

/// Checks the groups of a desktop file and the keys by which the application is shown and launched. Sets the
/// flags DesktopSeen, QmlOnlyApp and VitrineApp.
class DesktopDefault final : public ValidatorBase<ISubValidator> {
public:
    DesktopDefault(std::shared_ptr<RpmMeta> meta, std::shared_ptr<Config> config,
                   std::shared_ptr<Logger> logger);

    void validate(const std::string &path, const std::string &realPath) override;

private:
    void checkName();
    void checkIcon();
    void checkType();
    void checkExec();
    void checkApplicationType();

    std::optional<AppManifest::ManifestEntry> entry_;
};

} // namespace Validator
