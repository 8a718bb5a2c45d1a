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

struct MachineViews;

// The parts of examine(): package-examination.cpp, publication-examination.cpp, record-examination.cpp.

/// The packages that are on their way from rpm into the store, or out of it. Their files prove nothing until
/// that operation ends. Only the code that ends it may repair them.
std::set<std::string> idsUnderWay(const IConfiguration &configuration);

/// Findings about the directory of a package in the store, and about its published files. A failed look is a
/// finding as well.
std::vector<Finding> examinePackage(const IConfiguration &configuration, const StoredPackage &package,
                                    const RecordedPackages &records);

/// Completes or rolls back a package's unfinished operation, and puts all its published files on its lists,
/// so that an update or a removal finds it whole. Raises what the store raises.
void settlePackage(const IConfiguration &configuration, const std::string &id);

/// Findings about the published files of a package's current version: each that it ought to have, and each on
/// its list. Needs the values of the package's descriptor.
std::vector<Finding> examinePublication(const IConfiguration &configuration, const StoredPackage &package);

/// Findings about the registry, the bindings to sources, rescued files and the remnants of killed runs; by
/// package within each. Further failed reads are added to the views.
std::vector<Finding> examineRecords(const IConfiguration &configuration, MachineViews &views);

} // namespace Core::KELP
