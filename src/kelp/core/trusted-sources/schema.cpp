#include "kelp/core/trusted-sources/schema.h"

#include "kelp/core/trusted-sources/query.h"

#include <SQLiteCpp/Database.h>
#include <SQLiteCpp/Transaction.h>

#include <initializer_list>

namespace Core::TrustedSources {

namespace {

using Common::LogLevel;
using Common::LogStream;

struct Step {
    const char *name;
    const char *failure;
    std::initializer_list<const char *> statements;
};

const Step fromV0 = {
    "V0 to V1",
    "Couldn't migrate the trusted sources database from V0 to V1",
    {
        // A file without this table counts as one without a schema, whatever else it holds: that stays.
        "CREATE TABLE IF NOT EXISTS configuration(id TEXT PRIMARY KEY,data INTEGER NOT NULL)",
        // The version is ahead of its step, and `required` tells that: lacksSecondStep() goes by the two.
        "INSERT INTO configuration (id, data) VALUES ('version', 2), ('required', 1)",
        "CREATE TABLE IF NOT EXISTS sources(keyid TEXT PRIMARY KEY,subject TEXT NOT NULL)",
        // INTEGER for a text: existing files carry this declaration.
        "CREATE TABLE IF NOT EXISTS packages(id TEXT PRIMARY KEY,source_keyid INTEGER NOT NULL,"
        "FOREIGN KEY(source_keyid) REFERENCES sources(keyid))",
    },
};

const Step fromV1 = {
    "V1 to V2",
    "Couldn't migrate the trusted sources database from V1 to V2",
    {
        "INSERT INTO configuration (id, data) VALUES ('web_pwa_source_allowed', 0)",
        // The old switch had the opposite sense.
        "UPDATE configuration SET id = 'missing_source_allowed', data = 1 - data WHERE id = 'required'",
        "UPDATE configuration SET data = 2 WHERE id = 'version'",
    },
};

/// Killed at any moment, the next start finds none of the step or all of it.
void carryOut(const Step &step, SQLite::Database &database) {
    orRaiseInternal(step.failure, [&] {
        SQLite::Transaction transaction(database);
        for (const char *statement : step.statements)
            database.exec(statement);
        transaction.commit();
    });
    // Words that are looked for in logs, with their mistake.
    LogStream(LogLevel::Info) << "Successfully migrate trusted sources database from " << step.name;
}

std::int64_t integerOf(SQLite::Database &database, const char *sql) {
    SQLite::Statement query(database, sql);
    requireRow(query);
    return query.getColumn(0).getInt64();
}

bool hasConfiguration(SQLite::Database &database) {
    return orRaiseInternal(
        "Couldn't check if the configuration table exists in the trusted sources database", [&] {
            return integerOf(
                       database,
                       "SELECT COUNT(*) FROM sqlite_master WHERE type='table' AND name='configuration'") != 0;
        });
}

/// The first step writes the version that only the second one reaches: cut between the two, the file names
/// the current version and has the old switch.
bool lacksSecondStep(SQLite::Database &database) {
    return integerOf(database, "SELECT COUNT(*) FROM configuration WHERE id='required'") != 0 &&
           integerOf(database, "SELECT COUNT(*) FROM configuration WHERE id='missing_source_allowed'") == 0;
}

} // namespace

std::int64_t schemaVersion(SQLite::Database &database) {
    if (!hasConfiguration(database))
        return 0;
    return orRaiseInternal("Couldn't query trusted sources database version", [&] {
        const std::int64_t version = integerOf(database, "SELECT data FROM configuration WHERE id='version'");
        return version == currentSchemaVersion && lacksSecondStep(database) ? 1 : version;
    });
}

void migrateSchema(SQLite::Database &database, std::int64_t version) {
    if (version != 0 && version != 1) {
        // A negative number, which no program wrote: a newer version does not come here, and is used as it
        // is.
        LogStream(LogLevel::Error) << "Unexpected trusted sources database version: " << version;
        return;
    }
    if (version == 0)
        carryOut(fromV0, database);
    carryOut(fromV1, database);
}

} // namespace Core::TrustedSources
