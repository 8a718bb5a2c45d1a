#pragma once

#include "kelp/core/kelp/validator/framework/checker.h"

#include <algorithm>
#include <array>
#include <ranges>
#include <span>
#include <string>
#include <string_view>

namespace Validator {

class Config;

/// Appends the rules of desktop files: groups, keys and values.
void appendDesktopRules(Rules &rules, const Config &config);

// Parts of it, each beside the tables of its checker.

void appendGroupRules(Rules &rules);                         // desktop-groups.cpp
void appendLaunchRules(Rules &rules, const Config &config);  // desktop-default.cpp
void appendSandboxRules(Rules &rules, const Config &config); // desktop-fencebox.cpp
void appendTaskRules(Rules &rules);                          // desktop-intents.cpp
void appendAttestationRules(Rules &rules);                   // desktop-attestation.cpp
void appendCapabilityRules(Rules &rules);                    // desktop-capabilities.cpp

} // namespace Validator

namespace AppManifest {
class ManifestEntry;
}

// Shared by several checkers of the desktop file.

namespace Validator {

/// The names of the sandbox section: today's, and two that older applications use.
extern const std::array<std::string, 3> sandboxSections;

/// The section in use: the last of sandboxSections that the file holds. Null when it holds none.
const std::string *sandboxSectionOf(const AppManifest::ManifestEntry &entry);

/// Whether a group of a desktop file describes a background task, well or badly named.
constexpr bool isTaskGroup(std::string_view group) {
    return group.starts_with("X-Task ") || group.starts_with("X-Service ");
}

/// The program that a launch line of a desktop file names: all up to the first blank.
constexpr std::string_view programOf(std::string_view launchLine) {
    return launchLine.substr(0, launchLine.find(' '));
}

/// A key of a desktop file with the values that it may have.
struct ValueRow {
    std::string_view key;
    std::span<const std::string_view> values;
};

constexpr bool isOneOf(std::span<const std::string_view> texts, std::string_view text) {
    return std::ranges::find(texts, text) != texts.end();
}

/// The row of a key, or null.
constexpr const ValueRow *findRow(std::span<const ValueRow> table, std::string_view key) {
    const auto found = std::ranges::find(table, key, &ValueRow::key);
    return found == table.end() ? nullptr : &*found;
}

/// Appends an allowed rule for each value of each key, "KEY=VALUE", or "KEY" for one without values, with
/// `prefix` in front.
void appendValueRules(Rules &rules, std::string_view topic, std::string_view prefix,
                      std::span<const ValueRow> table);

} // namespace Validator
