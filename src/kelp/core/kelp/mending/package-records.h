#pragma once

#include "kelp/core/kelp/package/package-information.h"
#include "kelp/core/kelp/registry/registry-record.h"
#include "kelp/core/trusted-sources/i-database.h"

#include <optional>
#include <string>
#include <vector>

namespace Core {
class IConfiguration;
}

namespace Core::KELP {

// The records of a package beside the store: its binding to a source, and its lines in the registry.

/// The source that sold a package, by its client certificate; nothing without one. Raises as
/// Certificates::of(), and ErrorCode::Filesystem where there is no signature database.
std::optional<TrustedSources::Source> certifiedSource(const std::string &id);

/// The key of the developer's certificate; nothing without one. Raises as Certificates does.
std::optional<std::string> developerKey(const std::string &id);

/// Binds a package to the source of its client certificate, or, without one, to the reserved source. An
/// earlier binding is replaced. All is one transaction, which may also change the policy
/// (SQLiteDatabase::addMissingSource()). Raises as certifiedSource() and the database of sources do; then the
/// binding is unchanged.
void bindToItsSource(const IConfiguration &configuration, const std::string &id);

/// The record of an event of now, with the keys of a descriptor. Throws std::out_of_range without
/// "general.id" or "certificate.id".
RegistryRecord recordOf(RegistryEvent event, const PackageInformation &information);

/// The last record of a package, of any keys. Raises as registryRecords() does.
std::optional<RegistryRecord> lastRecord(const std::string &id);

} // namespace Core::KELP
