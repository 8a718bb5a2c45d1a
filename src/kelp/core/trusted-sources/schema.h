#pragma once

#include <cstdint>

namespace SQLite {
class Database;
}

namespace Core::TrustedSources {

/// The version that an open database's schema has: 0 when it has none, and 1 when it names the current one
/// but was cut off before the step that leads there.
std::int64_t schemaVersion(SQLite::Database &database);

/// Brings a schema of an older version to the current one, each step in a transaction of its own. A version
/// that never was is logged and left alone.
void migrateSchema(SQLite::Database &database, std::int64_t version);

constexpr std::int64_t currentSchemaVersion = 2;

} // namespace Core::TrustedSources
