#pragma once

#include <string_view>

/// What an application that authenticates users may do beyond an extended application.
namespace Configuration::AuthRows {

inline constexpr std::string_view allowedPaths[] = {
    "/etc/userdata-wiper/override.json",
};

inline constexpr std::string_view allowedPermissions[] = {
    "AuthService",
    "SerialNumber",
    "UserdataWiper",
};

inline constexpr std::string_view allowedLibrariesExpressions[] = {
    R"(^libudev\.so\.1(?:\(LIBUDEV_.*\))?$)",
};

} // namespace Configuration::AuthRows
