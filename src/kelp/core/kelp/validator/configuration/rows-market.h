#pragma once

#include <string_view>

/// What an application store may do beyond a regular application.
namespace Configuration::MarketRows {

inline constexpr std::string_view allowedPathsExpressions[] = {
    R"(^\/etc\/trusted-sources\/.+\.pem$)",
};

inline constexpr std::string_view allowedPermissions[] = {
    "Market",
};

inline constexpr std::string_view allowedLibraries[] = {
    "libmarket.so.0",
};

} // namespace Configuration::MarketRows
