#pragma once

#include "kelp/core/kelp/publication/publication-plan.h"

#include <filesystem>
#include <string>
#include <vector>

namespace Core::KELP {

// Published links and copies that could not be removed when their version went, for example on a read-only
// filesystem. No list names them any more, so a file for each package, below var/lib/kelp/left-behind,
// remembers them. The file is no order to remove them: the package may have been installed again since.

/// The file of a package. It has the form of a publication plan. But a mapping is the package's also when its
/// source lies below the one named.
std::filesystem::path leftBehindFile(const std::string &id);

/// The packages that have one, by id. Raises ErrorCode::Filesystem when the directory cannot be read.
std::vector<std::string> idsLeftBehind();

/// The files and directories that a package's file names; none without one. Raises ErrorCode::Filesystem when
/// it cannot be read, or is torn.
PublicationPlan leftBehind(const std::string &id);

/// Adds to the file of a package, which is on disk on return. Raises ErrorCode::Filesystem; then the file has
/// the earlier text or the new one.
void noteLeftBehind(const std::string &id, const PublicationPlan &left);

/// Removes each published file that a package's file names, if the published file still is the package's and
/// leads nowhere. A copy leads to the file in the store of which it is a copy. Then removes the named
/// directories that are empty, and the package's file. Other files there stay: they were published again,
/// or are foreign by now. Does nothing if the package has no file. After a kill it can be repeated. Raises
/// ErrorCode::Filesystem when a published file or directory could not be removed this time either, when the
/// removals cannot be flushed, or when the package's file cannot be read or is torn. Then the package's file
/// stays.
void takeBackLeftBehind(const std::string &id);

} // namespace Core::KELP
