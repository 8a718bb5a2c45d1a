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

/// The file in which rpm's database has the packages; its directory when none of those that rpm uses is
/// there.
std::filesystem::path rpmDatabaseFile();

/// Calls `act`, which opens a copy of that database: what it raises of Common::Error is raised with the path
/// of the machine's own before its text. Of the copy nobody has heard.
template<class Act>
auto behindRpmPath(const Act &act) {
    const std::filesystem::path file = rpmDatabaseFile();
    try {
        return act();
    } catch (const Common::Error &error) {
        throw Common::Error(error.code(), file.string() + ": " + error.what());
    }
}

/// Why the first migration never moves a package, whatever its files: nothing for one that it may move.
std::optional<std::string> whyNotMigrated(const RpmRecord &record);

/// The packages of the rpm database that concern the store, for somebody who only wants to look: those with a
/// certificate and those with a desktop file among the applications. By id. Nothing when the database cannot
/// be read or is not there, and when one without records cannot be this machine's (requireEmptyDatabaseOf()):
/// nobody knows what is installed then. While certificates cannot be read, all packages count, as each may be
/// an application.
std::optional<std::vector<RpmRecord>> rpmRecords(const IConfiguration &configuration, Unread &unread);

/// The same for whoever acts on it; `newId` is a package that is only about to come, and has its certificate
/// already. Raises as Common::Rpm::DatabaseCopy and Transaction do, the text being after the path of
/// the database, and as Certificates::of() and requireEmptyDatabaseOf().
std::vector<RpmRecord> rpmRecords(const IConfiguration &configuration, const std::string &newId = {});

/// The same of a database copy that is open already. Raises as Transaction and Certificates::of().
std::vector<RpmRecord> rpmRecords(const IConfiguration &configuration, const Common::Rpm::Transaction &rpm);

} // namespace Core::KELP
