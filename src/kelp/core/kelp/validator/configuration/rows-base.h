#pragma once

#include <string_view>

/// What holds for packages of every kind.
namespace Configuration::BaseRows {

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

} // namespace Configuration::BaseRows
