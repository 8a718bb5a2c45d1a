#pragma once

#include <cstdint>

namespace PackageSignatures {

/// Who signed a package.
enum class Group : std::int32_t {
    Developer = 1,
    Client = 3, ///< The source that sold it.
};

} // namespace PackageSignatures
