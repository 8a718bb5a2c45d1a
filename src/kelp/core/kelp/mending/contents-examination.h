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

/// What of a package's own directories, and of the tree of its current version by its list of contents, is
/// not as it was: all that needs no reading. What was lost with a published file is told as that file.
std::vector<Finding> examineContents(const IConfiguration &configuration, const StoredPackage &package);

/// The same of the directory of the store, and of those that lead there.
std::vector<Finding> examineStoreDirectory(const IConfiguration &configuration);

/// The packages, of these ids or of all, the current version of which came without a list of contents.
std::vector<StoredPackage> packagesWithoutList(const IConfiguration &configuration,
                                               const std::set<std::string> &ids);

/// Writes down what lies there of such a version, with the day; reads all of it. Raises
/// ErrorCode::Filesystem, and then there is no list. The list is replaced in one step, and on disk.
void listAsFound(const IConfiguration &configuration, const StoredPackage &package);

} // namespace Core::KELP
