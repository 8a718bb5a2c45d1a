#pragma once

#include <string_view>

/// What a virus scanner may do beyond a regular application.
namespace Configuration::AntivirusRows {

inline constexpr std::string_view allowedPaths[] = {
    "/etc/av-launcher/antivirus.desktop",
};

inline constexpr std::string_view allowedPermissions[] = {
    "LogSecurityEvents",
};

inline constexpr std::string_view allowedLibraries[] = {
    "libdbus-glib-1.so.2",
    "libkeepalive-glib.so.1",
    "libtvklog.so.1",
};

} // namespace Configuration::AntivirusRows
