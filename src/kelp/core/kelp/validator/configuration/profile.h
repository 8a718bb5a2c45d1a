#pragma once

#include <cstdint>
#include <string>

namespace PackageSignatures {
class Certificate;
}

namespace Validator {

/// The kinds of package that have a policy of their own.
enum class Profile : std::uint32_t {
    Regular = 0,
    Extended = 1,
    MDM = 2,
    Antivirus = 3,
    Auth = 4,
    Market = 5,
    SystemApp = 6,
    Pwa = 7,
};

/// The profile of that name: "regular", "extended", "mdm", "auth", "antivirus", "market", "systemapp" or
/// "pwa". Throws std::out_of_range, "Unknown profile name: " and the name, for any other.
Profile profileFromName(const std::string &name);

/// The name of a profile. Throws std::out_of_range, "Unknown profile type: " and the number, for an unknown
/// one.
std::string profileName(Profile profile);

/// The profile that a developer certificate's subgroup selects; none selects Pwa. Throws std::out_of_range,
/// "Unknown developer subgroup: " and the number, for a subgroup that has no profile.
Profile profileFromCertificate(const PackageSignatures::Certificate &certificate);

} // namespace Validator
