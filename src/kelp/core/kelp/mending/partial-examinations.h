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

// What examine() is made of: package-examination.cpp, publication-examination.cpp, record-examination.cpp.

/// The packages that are on their way from rpm into the store, or out of it. What is there of them and what
/// is not says nothing, and is to be mended by nobody but who completes that.
std::set<std::string> idsUnderWay(const IConfiguration &configuration);

/// What is wrong with the directory of a package in the store, and with what it has published. What cannot be
/// examined is a finding as well.
std::vector<Finding> examinePackage(const IConfiguration &configuration, const StoredPackage &package,
                                    const RecordedPackages &records);

/// Completes or takes back what was begun with a package, and has its lists tell all that is published, so
/// that an update or a removal finds it whole. Raises what the store raises.
void settlePackage(const IConfiguration &configuration, const std::string &id);

/// What is wrong with what the current version of a package has published: each file that it ought to have,
/// and each on its list.
std::vector<Finding> examinePublication(const IConfiguration &configuration, const StoredPackage &package);

/// What is wrong with the registry, the bindings to sources, the files that were rescued and those that a
/// killed run has left. By package within each. What cannot be read besides is added to the views.
std::vector<Finding> examineRecords(const IConfiguration &configuration, MachineViews &views);

} // namespace Core::KELP
