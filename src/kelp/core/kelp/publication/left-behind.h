#pragma once

#include "kelp/core/kelp/publication/publication-plan.h"

#include <filesystem>
#include <string>
#include <vector>

namespace Core::KELP {

// What could not be taken back of a package's published files when their version went, as on a filesystem
// that is read-only: links and copies that no list names any more. A file per package remembers them, below
// var/lib/kelp/left-behind; it orders no removal, for the package may be installed again by then.

/// The file of a package. It has the form of a publication plan, but for its sources: a mapping is the
/// package's when it is of that very source, or of one below it.
std::filesystem::path leftBehindFile(const std::string &id);

/// The packages that have one, by id. Raises ErrorCode::Filesystem when the directory cannot be read.
std::vector<std::string> idsLeftBehind();

/// What the file of a package names; nothing without one. Raises ErrorCode::Filesystem when it cannot be
/// read, or is torn.
PublicationPlan leftBehind(const std::string &id);

/// Adds to the file of a package, which is on disk on return. Raises ErrorCode::Filesystem, and then leaves
/// what it had.
void noteLeftBehind(const std::string &id, const PublicationPlan &left);

/// Takes back what the file of a package names, as far as it is the package's and leads nowhere, and forgets
/// the rest with the file: it has been published again, or is somebody else's by now. Nothing to do without a
/// file. Killed at any call, it is done again. Raises ErrorCode::Filesystem when something could not be taken
/// back once more, or the file is torn; then the file stays.
void takeBackLeftBehind(const std::string &id);

} // namespace Core::KELP
