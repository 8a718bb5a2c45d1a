#pragma once

#include "platform/package-signatures/certificate.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace SQLite {
class Database;
}

namespace PackageSignatures {

/// The platform's database of package signatures. It is one SQLite file, opened read-only, with one table:
///
///     CREATE TABLE certificates(
///       package          TEXT    NOT NULL,
///       cert_group       INTEGER NOT NULL,
///       key_id           TEXT    NOT NULL,
///       subject          TEXT    NOT NULL,
///       subgroup         INTEGER NOT NULL,
///       system_developer INTEGER NOT NULL DEFAULT 0,
///       PRIMARY KEY(package, cert_group));
///
/// Each failure is a standard exception. The constructor raises it for a file that cannot be opened, and a
/// query for one that is no such database.
class Database {
public:
    /// var/lib/package-signatures/signatures.sqlite3 below the root prefix.
    static std::string defaultPath();

    explicit Database(std::string_view path);
    Database(const Database &) = delete;
    Database &operator=(const Database &) = delete;
    ~Database();

    /// The ids of all packages, each once, in ascending byte order.
    std::vector<std::string> packages() const;

    std::optional<Certificate> packageCertificateWithGroup(const std::string &id, Group group) const;

private:
    std::unique_ptr<SQLite::Database> database_;
};

} // namespace PackageSignatures
