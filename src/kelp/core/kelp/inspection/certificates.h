#pragma once

#include "platform/package-signatures/database.h"

#include <optional>
#include <string>

namespace Core::KELP {

/// For a machine with packages in its store: each came with a certificate, so a missing signature database
/// was lost. Then raises ErrorCode::Filesystem "Couldn't read the signature database PATH: there is none".
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
