#pragma once

#include <string_view>

/// What an application of the system may do beyond a regular application.
namespace Configuration::SystemAppRows {

inline constexpr std::string_view allowedPermissions[] = {
    "PwaControl",
    "Keystore",
};

} // namespace Configuration::SystemAppRows
