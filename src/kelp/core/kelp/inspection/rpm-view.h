#pragma once

#include "kelp/core/common/errors/error.h"

#include "platform/package-signatures/certificate.h"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace Common::Rpm {
class Transaction;
}

namespace Core {
class IConfiguration;
}

namespace Core::KELP {

class Unread;

/// A package that the rpm database has.
struct RpmRecord {
    std::string id;
    std::string version; ///< VERSION-RELEASE
    std::optional<PackageSignatures::Certificate> developer;
    bool isCertificateKnown = true; ///< The signature database could be asked.
    bool isApplication = false;     ///< It has a certificate, or a desktop file among the applications.
};

/// The file of packages of rpm's database; the database's directory when that has none of the files that rpm
/// uses.
std::filesystem::path rpmDatabaseFile();

/// Calls `act`, which opens a copy of that database. Puts the path of the machine's own database before the
/// text of a Common::Error: the copy's means nothing to people.
template<class Act>
auto withRpmPath(const Act &act) {
    const std::filesystem::path file = rpmDatabaseFile();
    try {
        return act();
    } catch (const Common::Error &error) {
        throw Common::Error(error.code(), file.string() + ": " + error.what());
    }
}

/// Why the first migration does not move a package, whatever its files are; nothing for one that it may move.
std::optional<std::string> whyNotMigrated(const RpmRecord &record);

/// What could be read of the rpm database.
struct RpmView {
    std::vector<RpmRecord> records; ///< By id.
    bool isWhole = true;            ///< Otherwise a package without a record here may be installed.
};

/// All packages of the rpm database, and not only applications: one that has lost its certificate and its
/// desktop file does not look like an application, but is still in rpm. Changes nothing. What cannot be read
/// is noted in `unread`, and the rest is returned. Returns nothing if the database is missing or cannot be
/// read, or if it has no record and cannot be this machine's (requireEmptyDatabaseOf()).
std::optional<RpmView> rpmRecords(const IConfiguration &configuration, Unread &unread);

/// The same packages, for callers that act on the absence of a record: this raises what the other only notes.
/// If the database has no record at all, this raises when requireEmptyDatabaseOf() takes it for lost. The
/// absence of an id proves no loss if the registry has it as removed. Neither does the absence of `newId`, a
/// package that is about to be installed.
///
/// Raises as Common::Rpm::DatabaseCopy, Transaction and requireEmptyDatabaseOf() do, with the database's path
/// before the text, and as Certificates::of(). If there is a record that cannot be read, raises
/// ErrorCode::Internal "Couldn't read the rpm database: it has records that cannot be read", with the path.
std::vector<RpmRecord> rpmRecords(const IConfiguration &configuration, const std::string &newId = {});

/// The same of a database copy that is open already, without records that cannot be read. Raises as
/// Transaction, requireEmptyDatabaseOf() and Certificates::of() do.
std::vector<RpmRecord> rpmRecords(const IConfiguration &configuration, const Common::Rpm::Transaction &rpm);

} // namespace Core::KELP
