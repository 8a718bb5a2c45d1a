#pragma once

#include <string_view>

/// Paths and permissions of a regular application.
namespace Configuration::RegularRows {

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

} // namespace Configuration::RegularRows
