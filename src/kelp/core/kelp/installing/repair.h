#pragma once

#include "kelp/core/kelp/installing/installation.h"

namespace Core::KELP {

/// Restores the files of an installed version from its package file. The file must be of the same version and
/// developer. It must hold every listed file with the listed content, except files that the list marks as
/// changed. The validator does not judge the package file again.
///
/// Refuses a package that is on its way from rpm, or whose removal was begun. Except in a dry run, it then
/// completes or rolls back other unfinished operations of the package. The repaired version is made beside
/// the store, and exchanged with the installed one in one step. It has the package's files for which the list
/// has an entry, and a new list. From the installed version it keeps the store's other files, files that the
/// package does not bring or the list does not name, and changed configuration files, each with all its hard
/// links. It gets a new descriptor if the installed one is lost, or names another key than the registry and
/// the certificate. After a kill at any moment the store has one of the two versions, whole; the tree of the
/// other lies where installations unpack.
///
/// Raises ErrorCode::PackageNotExist for a package that is not installed, other codes when it refuses the
/// file or the package for another reason, and what the package layer and the filesystem raise. Raises
/// ErrorCode::Filesystem if the filesystem cannot exchange two directories. The caller holds the writers'
/// lock, except for a dry run, which makes the repaired version and drops it.
Installed repairPackage(const IConfiguration &configuration, const std::filesystem::path &file,
                        const InstallationOptions &options);

} // namespace Core::KELP
