#pragma once

#include "kelp/core/kelp/validator/framework/message.h"

#include <cstdint>

namespace Validator {

/// The findings on the desktop file as a whole and on its launch entry. The arguments stand behind each.
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

} // namespace Validator
