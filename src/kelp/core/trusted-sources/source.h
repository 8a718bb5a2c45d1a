#pragma once

#include <string>
#include <vector>

namespace Core::TrustedSources {

/// A source of packages that the device trusts.
struct Source {
    std::string keyId;
    std::string subject;               ///< Of the source's certificate.
    std::vector<std::string> packages; ///< The ids of the packages that came from it.
};

} // namespace Core::TrustedSources
