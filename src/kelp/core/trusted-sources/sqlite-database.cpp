#include "kelp/core/trusted-sources/sqlite-database.h"

#include "kelp/core/common/errors/reraise-as.h"
#include "kelp/core/common/files/durable-file.h"
#include "kelp/core/common/files/file-descriptor.h"
#include "kelp/core/common/files/filesystem.h"
#include "kelp/core/common/i-configuration.h"
#include "kelp/core/trusted-sources/error-category.h"

#include <SQLiteCpp/Database.h>
#include <SQLiteCpp/Statement.h>
#include <SQLiteCpp/Transaction.h>
#include <SQLiteCpp/VariadicBind.h>
#include <fcntl.h>

#include <initializer_list>
#include <optional>
#include <stdexcept>
#include <string>

namespace Core::TrustedSources {

namespace {

// Helpers for running statements, for this folder.

/// Runs `operation`; a standard exception is logged and becomes Error(Internal, message).
template<class Operation>
auto orRaiseInternal(const char *message, const Operation &operation) {
    return Common::reraiseAs(ErrorCategory::make(ErrorCode::Internal), message, operation);
}

/// Steps to a row that must exist.
inline void requireRow(SQLite::Statement &query) {
    if (!query.executeStep())
        throw std::runtime_error("SQL query failed: " + query.getQuery());
}

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
        // A file without this table counts as one without a schema. Its other tables stay.
        "CREATE TABLE IF NOT EXISTS configuration(id TEXT PRIMARY KEY,data INTEGER NOT NULL)",
        // The version is ahead of its step, and `required` shows it: lacksSecondStep() compares the two.
        "INSERT INTO configuration (id, data) VALUES ('version', 2), ('required', 1)",
        "CREATE TABLE IF NOT EXISTS sources(keyid TEXT PRIMARY KEY,subject TEXT NOT NULL)",
        // INTEGER for a text: existing files have this declaration.
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

constexpr std::int64_t currentSchemaVersion = 2;

/// After a kill at any moment the next start finds the whole step or none of it.
void carryOut(const Step &step, SQLite::Database &database) {
    orRaiseInternal(step.failure, [&] {
        SQLite::Transaction transaction(database);
        for (const char *statement : step.statements)
            database.exec(statement);
        transaction.commit();
    });
    // People search logs for these words: the mistake stays.
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

/// The first step writes the version that only the second one reaches. After a kill between the two the file
/// names the current version and has the old switch.
bool lacksSecondStep(SQLite::Database &database) {
    return integerOf(database, "SELECT COUNT(*) FROM configuration WHERE id='required'") != 0 &&
           integerOf(database, "SELECT COUNT(*) FROM configuration WHERE id='missing_source_allowed'") == 0;
}

/// The version of an open database's schema: 0 without a schema, and 1 when it names the current version but
/// lacks the last step.
std::int64_t schemaVersion(SQLite::Database &database) {
    if (!hasConfiguration(database))
        return 0;
    return orRaiseInternal("Couldn't query trusted sources database version", [&] {
        const std::int64_t version = integerOf(database, "SELECT data FROM configuration WHERE id='version'");
        return version == currentSchemaVersion && lacksSecondStep(database) ? 1 : version;
    });
}

/// Brings a schema of an older version to the current one, each step in a transaction of its own. An
/// impossible version is logged and left.
void migrateSchema(SQLite::Database &database, std::int64_t version) {
    if (version != 0 && version != 1) {
        // A negative number, which no program wrote. A newer version does not come here: it is used as it is.
        LogStream(LogLevel::Error) << "Unexpected trusted sources database version: " << version;
        return;
    }
    if (version == 0)
        carryOut(fromV0, database);
    carryOut(fromV1, database);
}

using Common::LogLevel;
using Common::LogStream;
using SQLite::Statement;

/// Makes the file for root alone: users who may read it may also lock it, and so block writers. An existing
/// file keeps its permissions. If the file cannot be made, SQLite reports why afterwards. A kill after this
/// leaves an empty file, which SQLite takes for a new database.
void makeForRootAlone(const std::filesystem::path &path) {
    const Common::FileDescriptor file(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
}

std::unique_ptr<SQLite::Database> open(const std::filesystem::path &path) {
    try {
        makeForRootAlone(path);
        auto database =
            std::make_unique<SQLite::Database>(path.string(), SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE);
        // A setting of the connection, off by default: without it packages could be bound to missing sources.
        orRaiseInternal("Couldn't enable foreign keys in the trusted sources database",
                        [&] { database->exec("PRAGMA foreign_keys = ON"); });
        const std::int64_t version = schemaVersion(*database);
        if (version < currentSchemaVersion)
            migrateSchema(*database, version);
        return database;
    } catch (const std::exception &error) {
        LogStream(LogLevel::Error) << "Couldn't initialize trusted sources database";
        LogStream(LogLevel::Error) << error;
        return nullptr;
    }
}

template<class... Values>
void bindAll([[maybe_unused]] Statement &statement, const Values &...values) {
    if constexpr (sizeof...(values) > 0)
        SQLite::bind(statement, values...);
}

/// In 64 bits: cut to 32, a switch of 4294967297 would count as on.
template<class... Values>
std::int64_t integer(SQLite::Database &database, const char *sql, const Values &...values) {
    Statement query(database, sql);
    bindAll(query, values...);
    requireRow(query);
    return query.getColumn(0).getInt64();
}

std::string textFor(SQLite::Database &database, const char *sql, const std::string &key) {
    Statement query(database, sql);
    query.bind(1, key);
    requireRow(query);
    return query.getColumn(0).getString();
}

template<class... Values>
void execute(SQLite::Database &database, const char *sql, const Values &...values) {
    Statement statement(database, sql);
    bindAll(statement, values...);
    statement.exec();
}

/// A transaction, or a part of the open one, which commits with that. The library's own savepoint stays open
/// after a roll back.
class Nested {
public:
    explicit Nested(SQLite::Database &database) : database_(&database) { database.exec("SAVEPOINT step"); }
    Nested(const Nested &) = delete;
    Nested &operator=(const Nested &) = delete;
    ~Nested() {
        if (isDone_)
            return;
        // The failure that caused the roll back is reported.
        static_cast<void>(database_->tryExec("ROLLBACK TO step"));
        static_cast<void>(database_->tryExec("RELEASE step"));
    }

    void commit() {
        database_->exec("RELEASE step");
        isDone_ = true;
    }

private:
    SQLite::Database *database_;
    bool isDone_ = false;
};

template<class... Values>
void executeAlone(SQLite::Database &database, const char *sql, const Values &...values) {
    Nested step(database);
    execute(database, sql, values...);
    step.commit();
}

} // namespace

SQLiteDatabase::SQLiteDatabase(const IConfiguration &configuration) :
    database_(open(configuration.trustedSourcesDatabasePath())) {}

SQLiteDatabase::~SQLiteDatabase() = default;

/// Runs `operation` on the open database.
template<class Operation>
auto SQLiteDatabase::run(const char *message, const Operation &operation) {
    if (!database_)
        throw Common::Error(ErrorCategory::make(ErrorCode::Internal),
                            "Trusted sources database not initialized");
    return orRaiseInternal(message, [&] { return operation(*database_); });
}

bool SQLiteDatabase::missingSourceAllowed() {
    return run("Couldn't query no source allowed status from the trusted sources database",
               [](auto &database) {
                   return integer(database,
                                  "SELECT data FROM configuration WHERE id = 'missing_source_allowed'") == 1;
               });
}

bool SQLiteDatabase::webPwaSourceAllowed() {
    return run("Couldn't query pwa source allowed status from the trusted sources database",
               [](auto &database) {
                   return integer(database,
                                  "SELECT data FROM configuration WHERE id = 'web_pwa_source_allowed'") == 1;
               });
}

void SQLiteDatabase::setMissingSourceAllowed(bool allowed) {
    run("Couldn't update no source allowed status in the trusted sources database", [&](auto &database) {
        executeAlone(database, "UPDATE configuration SET data = ? WHERE id = 'missing_source_allowed'",
                     static_cast<int>(allowed));
    });
}

void SQLiteDatabase::setWebPwaSourceAllowed(bool allowed) {
    run("Couldn't update pwa source allowed status in the trusted sources database", [&](auto &database) {
        executeAlone(database, "UPDATE configuration SET data = ? WHERE id = 'web_pwa_source_allowed'",
                     static_cast<int>(allowed));
    });
}

void SQLiteDatabase::addSource(const Source &source) {
    run("Couldn't insert source into the trusted sources database", [&](auto &database) {
        executeAlone(database, "INSERT OR IGNORE INTO sources (keyid,subject) VALUES (?,?)", source.keyId,
                     source.subject);
    });
}

void SQLiteDatabase::removeSource(const std::string &keyId) {
    run("Couldn't remove source from trusted sources database by key id", [&](auto &database) {
        Nested step(database);
        // Before the source: a binding needs its source.
        execute(database, "DELETE FROM packages WHERE source_keyid = ?", keyId);
        execute(database, "DELETE FROM sources WHERE keyid = ?", keyId);
        step.commit();
    });
}

bool SQLiteDatabase::sourceExists(const std::string &keyId) {
    // The text wrongly says "package", and stays so: people search logs for it.
    return run("Couldn't check package exists in the trusted sources database", [&](auto &database) {
        return integer(database, "SELECT COUNT(*) FROM sources WHERE keyid = ?", keyId) > 0;
    });
}

Source SQLiteDatabase::source(const std::string &keyId) {
    return run("Couldn't query source from trusted sources database by key id", [&](auto &database) {
        std::string subject = textFor(database, "SELECT subject FROM sources WHERE keyid = ?", keyId);
        return Source{keyId, std::move(subject), packagesOf(keyId)};
    });
}

Source SQLiteDatabase::sourceOfPackage(const std::string &packageId) {
    return run("Couldn't query source from trusted sources database by package id", [&](auto &database) {
        // A binding to a missing source fails with two texts: the log has the inner one, the caller this one.
        return source(textFor(database, "SELECT source_keyid FROM packages WHERE id = ?", packageId));
    });
}

void SQLiteDatabase::addPackage(const std::string &packageId, const std::string &keyId) {
    run("Couldn't insert package into the trusted sources database", [&](auto &database) {
        executeAlone(database, "INSERT INTO packages (id,source_keyid) VALUES (?,?)", packageId, keyId);
    });
}

bool SQLiteDatabase::addMissingSource(const Source &source) {
    if (sourceExists(source.keyId))
        return false;
    // In this order: the source tells the next run that both were done.
    if (source.keyId == reservedSource)
        setMissingSourceAllowed(true);
    addSource(source);
    return true;
}

void SQLiteDatabase::bindPackage(const std::string &packageId, const Source &source) {
    run("Couldn't insert package into the trusted sources database", [&](auto &database) {
        Nested step(database);
        addMissingSource(source);
        // After the source: each statement must find the source that it names.
        execute(database, "INSERT OR REPLACE INTO packages (id,source_keyid) VALUES (?,?)", packageId,
                source.keyId);
        step.commit();
    });
}

void SQLiteDatabase::together(const std::function<void()> &operations) {
    constexpr const char *message = "Couldn't commit to the trusted sources database";
    if (!database_) {
        // Each operation then fails.
        operations();
        return;
    }
    std::optional<Nested> step;
    orRaiseInternal(message, [&] { step.emplace(*database_); });
    operations();
    orRaiseInternal(message, [&] { step->commit(); });
}

void SQLiteDatabase::removePackage(const std::string &packageId) {
    run("Couldn't remove package from the trusted sources database",
        [&](auto &database) { executeAlone(database, "DELETE FROM packages WHERE id = ?", packageId); });
}

bool SQLiteDatabase::packageExists(const std::string &packageId) {
    return run("Couldn't check package exists in the trusted sources database", [&](auto &database) {
        return integer(database, "SELECT COUNT(*) FROM packages WHERE id = ?", packageId) > 0;
    });
}

std::vector<Source> SQLiteDatabase::sources() {
    return run("Couldn't query source list from the trusted sources database", [&](auto &database) {
        Statement query(database, "SELECT keyid FROM sources ORDER BY subject DESC");
        std::vector<Source> all;
        while (query.executeStep())
            all.push_back(source(query.getColumn(0).getString()));
        return all;
    });
}

std::vector<std::string> SQLiteDatabase::packagesOf(const std::string &keyId) {
    return run("Couldn't query source packages from the trusted sources database", [&](auto &database) {
        Statement query(database, "SELECT id FROM packages WHERE source_keyid = ?");
        query.bind(1, keyId);
        std::vector<std::string> ids;
        while (query.executeStep())
            ids.push_back(query.getColumn(0).getString());
        return ids;
    });
}

void setPolicy(const IConfiguration &configuration, PolicySetting setting, bool isAllowed) {
    const auto directory = configuration.trustedSourcesDatabasePath().parent_path();
    Common::createPrivateDirectory(directory);
    SQLiteDatabase database(configuration);
    if (setting == PolicySetting::MissingSource) {
        // Read first: an update of a missing switch would change nothing, without an error.
        static_cast<void>(database.missingSourceAllowed());
        database.setMissingSourceAllowed(isAllowed);
    } else {
        static_cast<void>(database.webPwaSourceAllowed());
        database.setWebPwaSourceAllowed(isAllowed);
    }
    // SQLite flushes the file, but not the removal of its journal. A power cut would bring the journal back,
    // and the next reader would roll back to the old value.
    Common::flushFile(directory);
}

} // namespace Core::TrustedSources
