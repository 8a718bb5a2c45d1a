#pragma once

#include "kelp/core/trusted-sources/i-database.h"

#include <cstdint>
#include <functional>
#include <memory>

namespace SQLite {
class Database;
}

namespace Core {
class IConfiguration;
}

namespace Core::TrustedSources {

/// The trusted sources in one SQLite file, whose schema docs/formats.md describes. Does not wait: an
/// operation fails if another process has locked the file.
class SQLiteDatabase : public IDatabase {
public:
    /// Opens the configured file, or makes it, and brings its schema to the current version. The file's
    /// directory must exist. If the file cannot be used, that is logged and nothing is raised; each operation
    /// then raises "Trusted sources database not initialized". A step of the schema's migration that fails
    /// changes nothing, and is repeated at the next construction.
    explicit SQLiteDatabase(const IConfiguration &configuration);
    SQLiteDatabase(const SQLiteDatabase &) = delete;
    SQLiteDatabase &operator=(const SQLiteDatabase &) = delete;
    ~SQLiteDatabase() override;

    bool missingSourceAllowed() override;
    bool webPwaSourceAllowed() override;
    void setMissingSourceAllowed(bool allowed) override;
    void setWebPwaSourceAllowed(bool allowed) override;
    void addSource(const Source &source) override;
    void removeSource(const std::string &keyId) override;
    bool sourceExists(const std::string &keyId) override;
    Source source(const std::string &keyId) override;
    Source sourceOfPackage(const std::string &packageId) override;
    void addPackage(const std::string &packageId, const std::string &keyId) override;
    void removePackage(const std::string &packageId) override;
    bool packageExists(const std::string &packageId) override;
    std::vector<Source> sources() override;

    /// Adds a source if it is missing, and returns whether it was. Adding the reserved source also switches
    /// on missingSourceAllowed(), since a package without a source exists then. If the reserved source exists
    /// already, the switch stays as people set it. Outside of together() switch and source are two steps, in
    /// this order: a kill between them leaves no source, and the next call takes both steps.
    bool addMissingSource(const Source &source);

    /// Binds a package to a source, in one transaction. Replaces an earlier binding, and adds a missing
    /// source as addMissingSource() does.
    void bindPackage(const std::string &packageId, const Source &source);

    /// Calls `operations`, and commits their changes in one transaction. Within it each operation is a step
    /// of its own: a failed one changes nothing, and the others stand. If `operations` raises, nothing is
    /// written, and its exception passes. Raises "Couldn't commit to the trusted sources database" when the
    /// transaction cannot begin or commit; then nothing is written either.
    void together(const std::function<void()> &operations);

private:
    std::vector<std::string> packagesOf(const std::string &keyId);

    template<class Operation>
    auto run(const char *message, const Operation &operation);

    std::unique_ptr<SQLite::Database> database_; ///< Null for a file that cannot be used.
};

/// The two switches of the trusted sources.
enum class PolicySetting {
    MissingSource, ///< Whether packages without a source may be installed.
    WebPwa,        ///< Whether the source of web applications is allowed.
};

/// Sets a switch durably. Makes a missing database, with its directory. After a kill before the return, the
/// switch has its old value or the new one. Raises as SQLiteDatabase does, also if the database lacks the
/// switch, and then leaves the switch as it was. Raises ErrorCode::Filesystem when the directory cannot be
/// made or flushed; if it was not flushed, a power cut may bring the old value back. The caller holds the
/// writers' lock.
void setPolicy(const IConfiguration &configuration, PolicySetting setting, bool isAllowed);

} // namespace Core::TrustedSources
