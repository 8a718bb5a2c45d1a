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
    /// Opens the configured file, or makes it, and brings an older schema to the current version. A newer one
    /// is used as it is. The file's directory must exist. If the file cannot be used, that is logged and
    /// nothing is raised; each operation then raises "Trusted sources database not initialized". A step of
    /// the schema's migration that fails changes nothing, and is repeated at the next construction.
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

    /// Adds a source if it is missing, and returns whether it was missing. Adding the reserved source first
    /// switches missingSourceAllowed() on: a package without a source is installed by then. If the reserved
    /// source exists already, the switch stays as people set it. A failure may leave the switch on without
    /// the source, except in bindPackage(), which undoes both. So may a kill, except in a transaction
    /// (together(), bindPackage()). The next call then finds no source, and does both.
    bool addMissingSource(const Source &source);

    /// Binds a package to a source, in one transaction. Replaces an earlier binding, and adds a missing
    /// source as addMissingSource() does.
    void bindPackage(const std::string &packageId, const Source &source);

    /// Calls `operations` and commits its changes in one transaction. `operations` may call any operation of
    /// this object. One that fails changes nothing, but addMissingSource() may leave its switch on. The
    /// changes of the others stay. If `operations` itself raises, nothing is written, and its exception
    /// passes. Raises "Couldn't commit to the trusted sources database" when the transaction cannot begin or
    /// commit; then nothing is written either. But on a full or failing disk SQLite may end the transaction
    /// at the operation that fails. The earlier changes are then lost, later ones are written, and this
    /// raises.
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

/// Sets a switch durably. Makes a missing database, with its directory. A kill leaves the old value or the
/// new one. Raises as SQLiteDatabase does, and then the switch is as it was. A database without the switch
/// counts as such a failure. Raises ErrorCode::Filesystem when the directory cannot be made or flushed. If it
/// was not flushed, a power cut may bring the old value back. The caller holds the writers' lock.
void setPolicy(const IConfiguration &configuration, PolicySetting setting, bool isAllowed);

} // namespace Core::TrustedSources
