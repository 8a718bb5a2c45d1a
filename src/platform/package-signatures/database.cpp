#include "platform/package-signatures/database.h"

#include "kelp/core/common/places.h"

#include <SQLiteCpp/Database.h>
#include <SQLiteCpp/Statement.h>

namespace PackageSignatures {

std::string Database::defaultPath() {
    return Common::belowRoot("var/lib/package-signatures/signatures.sqlite3").string();
}

Database::Database(std::string_view path) :
    database_(std::make_unique<SQLite::Database>(std::string(path), SQLite::OPEN_READONLY)) {}

Database::~Database() = default;

std::vector<std::string> Database::packages() const {
    SQLite::Statement query(*database_,
                            // A package has a row for each of its groups; the collation is that of the column
                            // unless it is named.
                            "SELECT DISTINCT package FROM certificates ORDER BY package COLLATE BINARY");
    std::vector<std::string> ids;
    while (query.executeStep())
        ids.push_back(query.getColumn(0).getString());
    return ids;
}

std::optional<Certificate> Database::packageCertificateWithGroup(const std::string &id, Group group) const {
    SQLite::Statement query(*database_,
                            "SELECT key_id, subject, subgroup, system_developer FROM certificates "
                            "WHERE package = ? AND cert_group = ?");
    query.bind(1, id);
    query.bind(2, static_cast<int>(group));
    if (!query.executeStep())
        return std::nullopt;
    // An unknown subgroup is kept: its name is "unknown", which an installation refuses.
    return Certificate(query.getColumn(0).getString(), query.getColumn(1).getString(),
                       static_cast<Subgroup>(query.getColumn(2).getInt()), query.getColumn(3).getInt() != 0);
}

} // namespace PackageSignatures
