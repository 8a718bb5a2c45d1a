#pragma once

#include "kelp/core/kelp/validator/framework/message.h"

#include <cstdint>
#include <string>
#include <vector>

namespace Validator {

/// The findings on the desktop file as a whole and on its launch entry. The arguments stand after each.
enum class DesktopMessage : std::uint32_t {
    Missing = 0,
    MissingUnchecked = 1,
    GroupDisallowed = 2, ///< group
    QmlMustBeVitrine = 3,
    ShouldBeVitrine = 4,
    ApplicationTypeMissing = 5,
    NameMissing = 6,
    NameIllegal = 7,
    IconInvalid = 8, ///< package name
    ExecInvalid = 9,
    TypeInvalid = 10,
    QmlOnly = 11,
    FieldUnknown = 12,  ///< key, group
    ValueInvalid = 13,  ///< value, group, key
    ColourInvalid = 14, ///< value, group, key
    Broken = 15,
};

Message messageOf(DesktopMessage message, const std::vector<std::string> &strings);

/// The findings on the sandbox section. The arguments stand after each.
enum class SandboxMessage : std::uint32_t {
    MultipleSections = 0,
    SectionMissing = 1,
    SectionDeprecated = 2,
    KeyNotAllowed = 3,        ///< key
    PermissionNotAllowed = 4, ///< permission
    SectionNotAllowed = 5,
    ApplicationNameIllegal = 6,
    ApplicationNameReserved = 7, ///< reserved text
    NamesMakeNoPackageName = 8,
    PackageNameTooLong = 9,
    OrganisationNameIllegal = 10,
    OrganisationNameStartsWithDigit = 11,
    OrganisationNameNotReverseDomain = 12,
    DashMayBreakServices = 13,
    DashBreaksServices = 14,
    SystemServiceInvalid = 15,
    SystemServiceIncomplete = 16,
    SystemServiceOwnerInvalid = 17,
    ExecDBusInvalid = 18,
    LauncherNotAllowed = 19, ///< requirement
    LauncherMissing = 20,
};

Message messageOf(SandboxMessage message, const std::vector<std::string> &strings);

/// The findings on intents and background tasks. The arguments stand after each.
enum class TasksMessage : std::uint32_t {
    KeyDisallowed = 0,         ///< key
    IntentInvalid = 1,         ///< intent
    IntentNameMissing = 2,     ///< intent
    IntentNotStandard = 3,     ///< name
    IntentFlagUnknown = 4,     ///< flag
    TaskInvalid = 5,           ///< group
    TypeUnsupported = 6,       ///< type
    ExecutableNameInvalid = 7, ///< program
    ExecutableMisplaced = 8,   ///< program
    PermissionNotAllowed = 9,  ///< permission
    BaseTaskImplicit = 10,
    PermissionNotOfApplication = 11, ///< permission
    ConditionInvalid = 12,           ///< condition
    ConditionUnknown = 13,           ///< condition
    ConditionSubtypeUnknown = 14,    ///< condition, subtype
};

Message messageOf(TasksMessage message, const std::vector<std::string> &strings);

/// The findings on a group of mandatory keys with fixed values. The arguments stand after each.
enum class KeyValueMessage : std::uint32_t {
    KeyInvalid = 0,   ///< key, group
    ValueInvalid = 1, ///< value, key
    KeyMissing = 2,   ///< key, group
};

Message messageOf(KeyValueMessage message, const std::vector<std::string> &strings);

/// The findings on the declared capabilities. The arguments stand after each.
enum class CapabilitiesMessage : std::uint32_t {
    KeyInvalid = 0,   ///< key, group
    ValueInvalid = 1, ///< value, key
};

/// Any other number counts as ValueInvalid.
Message messageOf(CapabilitiesMessage message, const std::vector<std::string> &strings);

/// Appends the entries of the catalogues above.
void appendDesktopFindings(std::vector<CatalogueEntry> &all);

} // namespace Validator
