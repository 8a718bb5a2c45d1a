#pragma once

#include <string_view>

// The rows of each profile's lists, but for the three long lists of a regular application.

namespace Configuration {

/// The rows for packages of every kind.
namespace BaseRows {

inline constexpr std::string_view allowedPaths[] = {
    "/manifest.json",
};

inline constexpr std::string_view forbiddenMimeTypes[] = {
    "application/x-rpm",
};

inline constexpr std::string_view reservedQmlImportsExpressions[] = {
    R"(^Bluetooth\..*$)",     R"(^Ondine\..*$)",    R"(^Dorn\..*$)",      R"(^Pelago\..*$)",
    R"(^PelagoMobile\..*$)",  R"(^Halyard\..*$)",   R"(^Qt.*$)",          R"(^org.pelagomobile\..*$)",
    R"(^org.halyardos\..*$)", R"(^com.ketch\..*$)", R"(^com.nokia\..*$)", R"(^com.ondine\..*$)",
    R"(^org.kde.bluezqt$)",   R"(^Velura\..*$)",
};

} // namespace BaseRows

/// Paths and permissions of a regular application.
namespace RegularRows {

inline constexpr std::string_view allowedPathsExpressions[] = {
    R"(^\/usr\/bin\/.*$)",
};

inline constexpr std::string_view allowedPermissions[] = {
    "Attestation",    "Audio",         "Bluetooth",     "Call",
    "Camera",         "Contacts",      "DeviceInfo",    "Documents",
    "Downloads",      "Internet",      "Location",      "ManagedConfiguration",
    "MediaIndexing",  "Microphone",    "Music",         "NFC",
    "Pictures",       "Printing",      "PublicDir",     "PushNotifications",
    "RemovableMedia", "ScreenCapture", "SecureStorage", "Sensors",
    "UserDirs",       "UsbDevices",    "Videos",        "WebView",
};

} // namespace RegularRows

/// What an extended application may do beyond a regular application.
namespace ExtendedRows {

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

} // namespace ExtendedRows

/// What a client of the device management may do beyond an extended application.
namespace MdmRows {

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

} // namespace MdmRows

/// What an application that authenticates users may do beyond an extended application.
namespace AuthRows {

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

} // namespace AuthRows

/// What a virus scanner may do beyond a regular application.
namespace AntivirusRows {

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

} // namespace AntivirusRows

/// What an application store may do beyond a regular application.
namespace MarketRows {

inline constexpr std::string_view allowedPathsExpressions[] = {
    R"(^\/etc\/trusted-sources\/.+\.pem$)",
};

inline constexpr std::string_view allowedPermissions[] = {
    "Market",
};

inline constexpr std::string_view allowedLibraries[] = {
    "libmarket.so.0",
};

} // namespace MarketRows

/// What an application of the system may do beyond a regular application.
namespace SystemAppRows {

inline constexpr std::string_view allowedPermissions[] = {
    "PwaControl",
    "Keystore",
};

} // namespace SystemAppRows

/// What a web application may do beyond a regular application.
namespace PwaRows {

inline constexpr std::string_view allowedPermissions[] = {
    "PwaRunner",
};

} // namespace PwaRows

} // namespace Configuration
