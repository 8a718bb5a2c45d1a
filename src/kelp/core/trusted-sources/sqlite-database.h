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
    /// Opens the configured file, or makes it, and brings its schema to the current version. Its directory
    /// must exist. A file that cannot be used is logged and raises nothing: each operation then raises
    /// "Trusted sources database not initialized". A step of the schema's migration that fails changes
    /// nothing and is repeated at the next construction.
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

    /// Adds a source if it is missing, and returns whether it was. A new reserved source also allows packages
    /// without a source: one exists then. If the source exists, the policy stays as people set it.
    /// Outside together() the policy and the source are two steps, in this order: a kill between them leaves
    /// no source, and the next call takes both steps.
    bool addMissingSource(const Source &source);

    /// Binds a package to a source, also if it was bound to another, and adds a missing source as
    /// addMissingSource() does; in one transaction.
    void bindPackage(const std::string &packageId, const Source &source);

    /// Commits the operations in one transaction, each as a step of its own: a failed one changes nothing,
    /// and the others stand. Raises "Couldn't commit to the trusted sources database" when none of it could
    /// be written, and what `operations` raises; then nothing is written.
    void together(const std::function<void()> &operations);

private:
    std::vector<std::string> packagesOf(const std::string &keyId);

    template<class Operation>
    auto run(const char *message, const Operation &operation);

    std::unique_ptr<SQLite::Database> database_; ///< Null for a file that cannot be used.
};

} // namespace Core::TrustedSources
