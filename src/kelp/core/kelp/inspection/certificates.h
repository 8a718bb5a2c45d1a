#pragma once

#include "platform/package-signatures/database.h"

#include <optional>
#include <string>

namespace Core::KELP {

/// For a machine that has packages in its store, where nothing comes without a certificate: one that has no
/// signature database has lost it. Raises ErrorCode::Filesystem "Couldn't read the signature database PATH:
/// there is none".
void requireCertificates();

/// The certificates of the machine's packages. A machine that has been given no signature database has none.
class Certificates {
public:
    /// The certificate of a package, if it has one. Raises ErrorCode::UnauthorizedAccess, and
    /// ErrorCode::Internal "Couldn't read the signature database PATH: REASON".
    std::optional<PackageSignatures::Certificate> of(const std::string &id, PackageSignatures::Group group);

private:
    std::optional<PackageSignatures::Database> database_; ///< Open from the first question on.
};

} // namespace Core::KELP
