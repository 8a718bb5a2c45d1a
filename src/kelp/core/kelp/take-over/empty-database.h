#pragma once

#include <set>
#include <string>

namespace Core {
class IConfiguration;
}

namespace Core::KELP {

/// The packages of which the registry says that they were removed. Takes the registry's lock.
std::set<std::string> removedByRegistry();

/// Raises ErrorCode::Internal when an rpm database without any record cannot be this machine's, as a
/// developer's certificate names an application that is neither in the store, nor on its way there, nor
/// rescued, nor among `accountedFor`: somebody has made the database anew, or the filesystem of the right one
/// is not mounted. Raises also what keeps it from telling.
void requireEmptyDatabaseOf(const IConfiguration &configuration, const std::set<std::string> &accountedFor);

} // namespace Core::KELP
