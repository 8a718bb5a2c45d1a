#pragma once

#include <string_view>

namespace Validator {

/// Whether a group of a desktop file describes a background task, well or badly named.
constexpr bool isTaskGroup(std::string_view group) {
    return group.starts_with("X-Task ") || group.starts_with("X-Service ");
}

} // namespace Validator
