#pragma once

#include <string_view>

/// What an extended application may do beyond a regular application.
namespace Configuration::ExtendedRows {

inline constexpr std::string_view allowedPathsExpressions[] = {
    R"(^\/usr\/lib(|64)\/connman\/plugins-vpn\/.*$)",
    R"(^\/etc\/connman\/.*$)",
    R"(^\/usr\/share\/halyard-vpn\/.*$)",
    R"(^\/usr\/lib(|64)\/qt5\/qml\/.*$)",
    R"(^\/usr\/lib(|64)\/3rdparty\/.*$)",
    R"(^\/opt\/extension\/p11-kit-modules\/.*$)",
    R"(^\/opt\/extension\/qca-plugins\/.*$)",
};

inline constexpr std::string_view allowedPermissions[] = {
    "LogSecurityEvents",
    "VPN",
};

inline constexpr std::string_view allowedLibraries[] = {
    "libtvklog.so.1",
};

inline constexpr std::string_view deprecatedLibrariesExpressions[] = {
    R"(^libsystemd\.so\.0(?:\(.*\))?$)",
};

inline constexpr std::string_view allowedRequires[] = {
    "connman-qt5",
};

inline constexpr std::string_view allowedQmlImports[] = {
    "Halyard.Settings.Networking.Vpn 1.0",
};

inline constexpr std::string_view deprecatedQmlImports[] = {
    "Halyard.Lipstick 1.0",
    "Halyard.Lipstick 1.1",
};

} // namespace Configuration::ExtendedRows
