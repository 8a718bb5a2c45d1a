#pragma once

#include <string>
#include <vector>

namespace Core::KELP {

/// The summary of one signature of a package.
struct PackageSignatureInfo {
    std::string keyId;
    std::string subgroup;
    std::vector<std::string> previousKeyIds; ///< Earlier key ids of the same signer.
};

} // namespace Core::KELP
