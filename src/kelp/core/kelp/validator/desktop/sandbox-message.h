#pragma once

#include "kelp/core/kelp/validator/framework/message.h"

#include <cstdint>

namespace Validator {

/// The findings on the sandbox section. The arguments stand behind each.
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

} // namespace Validator
