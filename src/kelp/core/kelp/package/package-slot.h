#pragma once

#include <cstdint>

namespace Core::KELP {

/// Chooses one of a package's three links.
enum class PackageSlot : std::uint32_t {
    Previous = 0,
    Current = 1,
    Next = 2,
};

} // namespace Core::KELP
