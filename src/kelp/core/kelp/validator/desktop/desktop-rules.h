#pragma once

#include "kelp/core/kelp/validator/framework/rule.h"

namespace Validator {

class Config;

/// Appends what the desktop file of a package is held against: its groups, keys and values.
void appendDesktopRules(Rules &rules, const Config &config);

// Parts of it, each beside the tables of its checker.

void appendGroupRules(Rules &rules);                         // desktop-groups.cpp
void appendLaunchRules(Rules &rules, const Config &config);  // desktop-default.cpp
void appendSandboxRules(Rules &rules, const Config &config); // desktop-fencebox.cpp
void appendTaskRules(Rules &rules);                          // desktop-intents.cpp
void appendAttestationRules(Rules &rules);                   // desktop-attestation.cpp
void appendCapabilityRules(Rules &rules);                    // desktop-capabilities.cpp

} // namespace Validator
