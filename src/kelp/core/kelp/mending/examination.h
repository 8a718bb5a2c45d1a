#pragma once

#include "kelp/core/kelp/inspection/store-view.h"
#include "kelp/core/kelp/inspection/unread.h"
#include "kelp/core/kelp/mending/finding.h"

#include <set>
#include <string>
#include <vector>

namespace Core {
class IConfiguration;
}

namespace Core::KELP {

/// Looks for all faults of the packages `ids`. Without ids, looks at all packages, and at files that belong
/// to none. Changes nothing. Returns the findings in the order of the ids, and those of one package in the
/// order in which to mend them. A package that cannot be examined is a finding itself. Raises as
/// idsUnderWay() does, if the take-over journal or the note of a removal cannot be read. Any other read that
/// fails goes to `unread`, or is a finding. The findings refer to `configuration`, which must outlive them.
std::vector<Finding> examine(const IConfiguration &configuration, const std::set<std::string> &ids,
                             Unread &unread);

/// The ids that are unknown to store, registry, sources and take-over, of no application in rpm, and of no
/// finding of examineRecords(). None while one of these, or a directory of unpacked trees, cannot be read.
/// Raises as idsUnderWay() does.
std::vector<std::string> unknownIds(const IConfiguration &configuration, const std::set<std::string> &ids);

struct Mending {
    std::vector<Finding> mended;
    std::vector<Finding> left;
    Unread unread; ///< The failed reads of the last look.
};

/// Mends item by item, in a few rounds of looking and mending. A failure is logged, and stops no other item.
/// Raises as examine() does. The caller holds the writers' lock.
Mending mend(const IConfiguration &configuration, const std::set<std::string> &ids);

struct MachineViews;

// The parts of examine(): package-examination.cpp, publication-examination.cpp, record-examination.cpp.

/// The packages that are on their way from rpm into the store, or that are being removed. Their files prove
/// nothing until that operation ends. Only the code that ends it may repair them. Raises if the take-over
/// journal or the note of a removal (`var/lib/kelp/removal`) exists and cannot be read: any package may be
/// under way then.
std::set<std::string> idsUnderWay(const IConfiguration &configuration);

/// Findings about the directory of a package in the store, and about its published files. A failed look is a
/// finding as well.
std::vector<Finding> examinePackage(const IConfiguration &configuration, const StoredPackage &package,
                                    const RecordedPackages &records);

/// Completes or rolls back a package's unfinished operation, where possible, and puts all its published files
/// on its lists, so that an update or a removal finds them. Raises what the store raises.
void settlePackage(const IConfiguration &configuration, const std::string &id);

/// Findings about the published files of a package's current version: each that it ought to have, and each on
/// its list. Needs the values of the package's descriptor.
std::vector<Finding> examinePublication(const IConfiguration &configuration, const StoredPackage &package);

/// Findings about the registry, unfinished operations, the bindings to sources, records in rpm, rescued files
/// and the remnants of killed runs. Further failed reads are added to the views. Raises as idsUnderWay()
/// does.
std::vector<Finding> examineRecords(const IConfiguration &configuration, MachineViews &views);

} // namespace Core::KELP
