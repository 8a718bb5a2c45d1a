#pragma once

#include "kelp/core/kelp/validator/framework/message.h"

#include <cstdint>

namespace Validator {

/// The findings on intents and background tasks. The arguments stand behind each.
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

} // namespace Validator
