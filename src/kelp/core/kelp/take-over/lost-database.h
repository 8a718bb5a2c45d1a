#pragma once

#include <set>
#include <string>

namespace Core {
class IConfiguration;
}

namespace Core::KELP {

/// The packages of which the registry says that they were removed. Takes the registry's lock.
std::set<std::string> removedByRegistry();

/// Raises ErrorCode::Internal when an rpm database without any record cannot be this machine's. That is so if
/// a developer's certificate names an application that is nowhere: not in the store, on its way there,
/// rescued, or among `accountedFor`. Then the database was made anew, or the right one is not mounted. Also
/// raises the error of a look that fails.
void requireEmptyDatabaseOf(const IConfiguration &configuration, const std::set<std::string> &accountedFor);

} // namespace Core::KELP
