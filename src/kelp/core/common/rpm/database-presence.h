#pragma once

namespace Common::Rpm {

/// Raises ErrorCode::Internal "Couldn't read the rpm database: REASON" unless the machine's rpm database
/// stands where rpm's configuration says: librpm makes one where there is none, even for a reader, and an
/// empty database says that nothing is installed. Also when a file of that configuration cannot be read, as
/// another place of the database may stand in it. To be asked before librpm opens the database.
void requireDatabase();

} // namespace Common::Rpm
