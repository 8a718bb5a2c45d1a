#pragma once

#include "kelp/core/kelp/publication/publication-plan.h"

#include <filesystem>
#include <string>
#include <vector>

namespace Core::KELP {

// Published links and copies that could not be removed when their version went, as on a read-only filesystem.
// No list names them any more. A file per package remembers them, below var/lib/kelp/left-behind. It orders
// no removal: the package may be installed again by then.

/// The file of a package. It has the form of a publication plan. But a mapping is the package's also when its
/// source lies below the one named.
std::filesystem::path leftBehindFile(const std::string &id);

/// The packages that have one, by id. Raises ErrorCode::Filesystem when the directory cannot be read.
std::vector<std::string> idsLeftBehind();

/// The files and directories that a package's file names; none without one. Raises ErrorCode::Filesystem when
/// it cannot be read, or is torn.
PublicationPlan leftBehind(const std::string &id);

/// Adds to the file of a package, which is on disk on return. Raises ErrorCode::Filesystem; then the file is
/// unchanged.
void noteLeftBehind(const std::string &id, const PublicationPlan &left);

/// Removes what a package's file names, where it is the package's and leads nowhere, and then the file. The
/// rest has been published again, or is foreign by now. Does nothing without a file. After a kill at any call
/// it can be repeated. Raises ErrorCode::Filesystem when something could not be removed again, or the file is
/// torn; then the file stays.
void takeBackLeftBehind(const std::string &id);

} // namespace Core::KELP
