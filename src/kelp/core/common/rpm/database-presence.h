#pragma once

namespace Common::Rpm {

/// Raises ErrorCode::Internal "Couldn't read the rpm database: REASON" if the machine's rpm database is not
/// where rpm's configuration says. librpm would make an empty one there, even for a reader; then nothing
/// would seem installed. Also raises when a file of that configuration cannot be read: it may name another
/// place of the database. Call it before librpm opens the database.
void requireDatabase();

} // namespace Common::Rpm
