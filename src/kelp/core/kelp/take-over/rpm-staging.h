#pragma once

#include "kelp/core/kelp/incoming/rpm-package.h"
#include "kelp/core/kelp/take-over/take-over-journal.h"

namespace Core::KELP {

/// Copies the files of an installed package to the directory `entry.path`, which must not exist, in the form
/// of a version that will lie in `versionDirectory`; and notes in `entry.files` what stood there. A file that
/// rpm lists and that is missing on the disk is logged as a warning and left out.
///
/// Raises ErrorCode::Filesystem, also for a file that changed while it was copied; what was made by then
/// stays, below entry.path alone.
void stageInstalledPackage(const RpmPackage &package, const std::filesystem::path &versionDirectory,
                           JournalEntry &entry);

} // namespace Core::KELP
