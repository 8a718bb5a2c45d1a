#pragma once

#include "kelp/core/kelp/validator/framework/checker.h"

#include "platform/app-manifest/manifest-entry.h"

#include <set>

namespace Validator {

/// A background task as its group in the desktop file describes it.
struct IntentSpec {
    std::string group;
    std::string type;
    std::string exec;
    std::vector<std::string> permissions;
    std::vector<std::string> conditions;
};

/// Checks the intents that an application serves, and the background tasks that the system may start for it.
/// Reports nothing when the flag NoSandboxSection is set.
class DesktopIntents final : public ValidatorBase<ISubValidator> {
public:
    DesktopIntents(std::shared_ptr<RpmMeta> meta, std::shared_ptr<Config> config,
                   std::shared_ptr<Logger> logger);

    void validate(const std::string &path, const std::string &realPath) override;

private:
    void checkIntent(const std::string &intent);
    void checkIntentFlags(const std::string &flags);

    void checkTaskKeys(const std::string &group);
    IntentSpec readTask(const std::string &group) const;
    void checkTask(const IntentSpec &task);
    void checkGroup(const IntentSpec &task);
    void checkType(const IntentSpec &task);
    void checkExec(const IntentSpec &task);
    void checkPermission(const std::string &permission);
    void checkCondition(const std::string &condition);

    std::set<std::string> appPermissions_; ///< A set: each task may name each permission.
    std::optional<AppManifest::ManifestEntry> entry_;
    const std::string *section_ = nullptr; ///< The name of the section in use.
};

} // namespace Validator
