#include "kelp/core/kelp/validator/desktop/desktop-vocabulary.h"

#include "platform/app-manifest/manifest-entry.h"

namespace Validator {

void appendDesktopRules(Rules &rules, const Config &config) {
    appendGroupRules(rules);
    appendLaunchRules(rules, config);
    appendSandboxRules(rules, config);
    appendTaskRules(rules);
    appendAttestationRules(rules);
    appendCapabilityRules(rules);
}

const std::array<std::string, 3> sandboxSections = {"X-Application", "X-Fencebox", "Fencebox"};

/// The same choice as ManifestEntry's for names and permissions: otherwise the section in use would not be
/// judged.
const std::string *sandboxSectionOf(const AppManifest::ManifestEntry &entry) {
    const std::string *inUse = nullptr;
    for (const std::string &section : sandboxSections) {
        if (entry.containsGroup(section))
            inUse = &section;
    }
    return inUse;
}

void appendValueRules(Rules &rules, std::string_view topic, std::string_view prefix,
                      std::span<const ValueRow> table) {
    for (const auto &[key, values] : table) {
        const std::string name = std::string(prefix) + std::string(key);
        if (values.empty())
            rules.push_back({topic, "allowed", name});
        appendRules(rules, topic, "allowed", values, name + '=');
    }
}

} // namespace Validator
