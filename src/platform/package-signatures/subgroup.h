#pragma once

#include <cstdint>
#include <string>

namespace PackageSignatures {

/// What a developer certificate entitles to.
enum class Subgroup : std::int32_t {
    Regular = 1,
    Antivirus = 2,
    Extended = 3,
    Mdm = 4,
    Auth = 5,
    Market = 6,
    SystemApp = 7,
};

/// The name in lower case, "systemapp" for example; "unknown" for any other value.
std::string subgroupToString(Subgroup subgroup);

} // namespace PackageSignatures
