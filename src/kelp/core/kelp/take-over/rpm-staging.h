#pragma once

#include "kelp/core/kelp/take-over/installed-application.h"
#include "kelp/core/kelp/take-over/take-over-journal.h"

namespace Common::Rpm {
class Transaction;
}

namespace Core::KELP {

/// Makes the directory of a tree. Raises ErrorCode::Filesystem, also when something has that name: two
/// packages of one name must not share a directory, and a tree of an earlier start may be the only copy.
void makeStagingDirectory(const std::filesystem::path &staging);

/// Stages the files of an installed package in the empty directory `entry.path`, as a version that will lie
/// in `versionDirectory`. Notes in `entry.files` the original files that rpm would remove. Hard-links a file
/// where a copy would be equal, and copies it otherwise. Sets the attribute "security.appid" of each staged
/// file that is `signable` (PackageEntry). As a hard link is the same file, rpm's file has the attribute from
/// then on as well. A listed file that is missing on disk is logged as a warning and left out.
///
/// Raises CopyError for a file that could not be looked at or staged, and ErrorCode::Filesystem for one that
/// changed meanwhile. Files made by then stay, all below `entry.path`.
void stageInstalledPackage(const InstalledApplication &application,
                           const std::filesystem::path &versionDirectory, JournalEntry &entry);

/// Writes the list of contents into the staged tree, by rpm's record and `entry.files`, and marks the entry.
/// Raises ErrorCode::Internal where rpm gives no record of it, and as listStagedContents() does.
void listContents(const Common::Rpm::Transaction &rpm, JournalEntry &entry);

/// Notes the targets of the staged tree's publication in the entry, with rpm's file at each, and the
/// directories. `current` is the link of that name, absolute. Raises ErrorCode::Filesystem.
void noteTargets(const RpmPackage &package, const std::filesystem::path &current, JournalEntry &entry);

} // namespace Core::KELP
