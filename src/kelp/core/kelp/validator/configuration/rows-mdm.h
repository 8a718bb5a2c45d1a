#pragma once

#include <string_view>

/// What a client of the device management may do beyond an extended application.
namespace Configuration::MdmRows {

inline constexpr std::string_view allowedPermissions[] = {
    "AccessSecurityLog",
    "ManagedConfigurationAdmin",
};

inline constexpr std::string_view allowedLibraries[] = {
    "liblocation-settings-qt5.so.0",
};

inline constexpr std::string_view unstableLibraries[] = {
    "libhalyardmdm.so.0",     "libhalyardpolicy.so.0",
    "libsystemsettings.so.0", "libketchsignonuiservice-qt5.so.0",
    "libsignon-qt5.so.1",     "liblocation-settings-qt5.so.0",
};

inline constexpr std::string_view unstableQmlImports[] = {
    "Halyard.Mdm 1.0",
    "Halyard.Policy 1.0",
};

} // namespace Configuration::MdmRows
