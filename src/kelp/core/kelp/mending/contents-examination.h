#pragma once

#include "kelp/core/kelp/inspection/store-view.h"
#include "kelp/core/kelp/mending/finding.h"

#include <set>
#include <string>
#include <vector>

namespace Core {
class IConfiguration;
}

namespace Core::KELP {

/// Findings in a package's own directories, and differences of its current version from its list of contents,
/// as far as they show without reading files. A loss that a missing published file shows is reported only as
/// that file. Needs the values of the package's descriptor.
std::vector<Finding> examineContents(const IConfiguration &configuration, const StoredPackage &package);

/// The same for the directory of the store, and for those above it.
std::vector<Finding> examineStoreDirectory(const IConfiguration &configuration);

/// The packages, of these ids or of all, the current version of which came without a list of contents.
std::vector<StoredPackage> packagesWithoutList(const IConfiguration &configuration,
                                               const std::set<std::string> &ids);

/// Reads all files of such a version and writes its list of contents, with the day, in one step and durably.
/// Raises ErrorCode::Filesystem, and then there is no list.
void listAsFound(const IConfiguration &configuration, const StoredPackage &package);

} // namespace Core::KELP
