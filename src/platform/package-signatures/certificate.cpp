#include "platform/package-signatures/certificate.h"

namespace PackageSignatures {

std::string subgroupToString(Subgroup subgroup) {
    switch (subgroup) {
    case Subgroup::Regular:
        return "regular";
    case Subgroup::Antivirus:
        return "antivirus";
    case Subgroup::Extended:
        return "extended";
    case Subgroup::Mdm:
        return "mdm";
    case Subgroup::Auth:
        return "auth";
    case Subgroup::Market:
        return "market";
    case Subgroup::SystemApp:
        return "systemapp";
    }
    // After the switch, which has no default so that the compiler names a subgroup that it lacks.
    return "unknown";
}

} // namespace PackageSignatures
