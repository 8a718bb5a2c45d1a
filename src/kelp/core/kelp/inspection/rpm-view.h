#pragma once

#include "platform/package-signatures/certificate.h"

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace Common::Rpm {
class Transaction;
}

namespace Core::KELP {

/// A package that the rpm database has.
struct RpmRecord {
    std::string id;
    std::string version; ///< VERSION-RELEASE
    std::optional<PackageSignatures::Certificate> developer;
    bool isApplication = false; ///< It has a certificate, or a desktop file among the applications.
};

/// Why the first migration never moves a package, whatever its files: nothing for one that it may move.
std::optional<std::string> whyNotMigrated(const RpmRecord &record);

/// The packages of the rpm database that concern the store, for somebody who only wants to look: those with a
/// certificate and those with a desktop file among the applications. By id. A machine without an
/// rpm database has none. Raises as Common::Rpm::DatabaseCopy and Transaction do, and when the signature
/// database is there and cannot be read.
std::vector<RpmRecord> rpmRecords();

/// The same of a database copy that is open already.
std::vector<RpmRecord> rpmRecords(const Common::Rpm::Transaction &rpm);

} // namespace Core::KELP
