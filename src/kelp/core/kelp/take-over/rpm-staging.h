#pragma once

#include "kelp/core/kelp/take-over/installed-application.h"
#include "kelp/core/kelp/take-over/take-over-journal.h"

namespace Common::Rpm {
class Transaction;
}

namespace Core::KELP {

/// Makes the directory of a tree. Raises ErrorCode::Filesystem, also when anything is there: two packages of
/// one name must not share it, and what an earlier start has left may be the only copy.
void makeStagingDirectory(const std::filesystem::path &staging);

/// Brings the files of an installed package to the empty directory `entry.path`, in the form of a version
/// that will lie in `versionDirectory`, and notes in `entry.files` what stood there. A file gets a further
/// name in the tree where a copy of it would be equal, and is copied otherwise. Its attribute
/// "security.appid" then shows at rpm's name too. A file that rpm lists and that is missing on the disk is
/// logged as a warning and left out; one that cannot be looked at is not missing.
///
/// Raises CopyError for a file that could not be staged, and ErrorCode::Filesystem for one that changed
/// meanwhile; what was made by then stays, below entry.path alone.
void stageInstalledPackage(const InstalledApplication &application,
                           const std::filesystem::path &versionDirectory, JournalEntry &entry);

/// Lists the contents of the staged tree in it, by rpm's record and by what `entry.files` say was staged, and
/// marks the entry. Raises ErrorCode::Internal where rpm gives no record of it, and as listStagedContents()
/// does.
void listContents(const Common::Rpm::Transaction &rpm, JournalEntry &entry);

/// Notes in the entry what the publication of its staged tree will touch: the targets, with rpm's file at
/// each, and the directories. `current` is the link of that name, absolute. Raises ErrorCode::Filesystem.
void noteTargets(const RpmPackage &package, const std::filesystem::path &current, JournalEntry &entry);

} // namespace Core::KELP
