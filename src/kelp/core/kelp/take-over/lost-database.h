#pragma once

#include <set>
#include <string>

namespace Core {
class IConfiguration;
}

namespace Core::KELP {

/// The packages of which the registry says that they were removed; none after a failed read. Takes the
/// registry's lock.
std::set<std::string> removedByRegistry();

/// Call it if the rpm database has no record of a package. Raises ErrorCode::Internal when the database
/// cannot be this machine's: it was made anew, or the right one is not mounted. The proof is an application
/// that is missing. The signature database has its developer's certificate, which is no system developer's.
/// The application is neither in the store, nor on its way there, nor rescued, nor among `accountedFor`: the
/// ids whose absence is explained. Without a signature database no application is known, and this returns.
/// Raises ErrorCode::Filesystem if that database cannot be read or a look into the store fails. Also raises
/// what a look for the database and LeftTree::rescued() raise.
void requireEmptyDatabaseOf(const IConfiguration &configuration, const std::set<std::string> &accountedFor);

} // namespace Core::KELP
