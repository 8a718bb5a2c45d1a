#pragma once

namespace Core {
class IConfiguration;
}

namespace Core::KELP {

/// Raises ErrorCode::Internal when an rpm database without any record cannot be this machine's, as a
/// developer's certificate names an application that is neither in the store, nor on its way there, nor
/// rescued: somebody has made the database anew, or the filesystem of the right one is not mounted. Raises
/// also what keeps it from telling.
void requireEmptyDatabaseOf(const IConfiguration &configuration);

} // namespace Core::KELP
