#include "kelp/core/kelp/validator/desktop/desktop-rules.h"

namespace Validator {

void appendDesktopRules(Rules &rules, const Config &config) {
    appendGroupRules(rules);
    appendLaunchRules(rules, config);
    appendSandboxRules(rules, config);
    appendTaskRules(rules);
    appendAttestationRules(rules);
    appendCapabilityRules(rules);
}

} // namespace Validator
