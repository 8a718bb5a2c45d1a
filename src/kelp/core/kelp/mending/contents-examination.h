#pragma once

#include "kelp/core/kelp/inspection/store-view.h"
#include "kelp/core/kelp/mending/finding.h"

#include <filesystem>
#include <set>
#include <string>
#include <vector>

namespace Core {
class IConfiguration;
}

namespace Core::KELP {

/// Findings about a package's own directories, and differences between its current version and its list of
/// contents. Looks only at status and attributes of the listed files. Beside the store's lists it reads two
/// files: the integrity daemon's configuration, and the listed file from which the store made it. A failed
/// read is a finding as well. A missing file that was published gives no finding here: examinePublication()
/// reports its target. `package.information` must have a value. Raises as StoreView::publishedFiles() does.
std::vector<Finding> examineContents(const IConfiguration &configuration, const StoredPackage &package);

/// Adds findings about a directory that leads to applications and that others use too, by what its owner or
/// mode lets happen. They need a person: others may have a reason, and no repair changes what is theirs. A
/// failed look is a finding too.
void examineSharedDirectory(const std::string &id, const std::filesystem::path &path,
                            std::vector<Finding> &findings);

/// Findings about the directory of the store, and about those above it.
std::vector<Finding> examineStoreDirectory(const IConfiguration &configuration);

/// The packages, of these ids or of all, whose current version has no list of contents, or a malformed one.
/// Leaves out those whose files may change or cannot be looked at, such as a package under way. Raises as
/// idsUnderWay() and StoreView::packages() do.
std::vector<StoredPackage> packagesWithoutList(const IConfiguration &configuration,
                                               const std::set<std::string> &ids);

/// Reads all files of such a version and writes its list of contents, with the day, in one step and durably.
/// Raises ErrorCode::Filesystem, and then there is no new list.
void listAsFound(const IConfiguration &configuration, const StoredPackage &package);

} // namespace Core::KELP
