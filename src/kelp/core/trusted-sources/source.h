#pragma once

#include <string>
#include <vector>

namespace Core::TrustedSources {

/// The key id of the reserved source, for all packages without a source.
inline constexpr const char *reservedSource = ".no.source.apps";

/// A source of packages that the device trusts.
struct Source {
    std::string keyId;
    std::string subject;               ///< Of the source's certificate.
    std::vector<std::string> packages; ///< The ids of the packages that came from it.

    /// The reserved source, without its packages.
    static Source reserved() { return {reservedSource, "", {}}; }
};

} // namespace Core::TrustedSources
