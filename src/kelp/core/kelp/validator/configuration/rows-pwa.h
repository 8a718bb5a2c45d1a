#pragma once

#include <string_view>

/// What a web application may do beyond a regular application.
namespace Configuration::PwaRows {

inline constexpr std::string_view allowedPermissions[] = {
    "PwaRunner",
};

} // namespace Configuration::PwaRows
