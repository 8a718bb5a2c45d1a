#pragma once

#include "kelp/core/kelp/installing/installation.h"

namespace Core::KELP {

/// Restores the files of an installed version from its package file. That must be of the same version and
/// developer, with the listed content for each file that was as packed. There is no check of the version or
/// by the validator: the package was let in already.
///
/// The repaired version is made beside the store, and exchanged with the installed one in one step. It has
/// the package's files where the list has an entry, and a new descriptor if the installed one is lost or has
/// another key than the registry. From the installed version it keeps the store's own
/// files, files that the package does not bring, and changed configuration files, with all hard links of
/// each. After a kill at any call the machine has one of the two, and the other's tree lies where
/// installations unpack.
///
/// Raises ErrorCode::PackageNotExist for a package that is not installed, the code of the refusal, and what
/// the package layer raises. The caller holds the writers' lock, except for a dry run, which makes the
/// repaired version and drops it.
Installed repairPackage(const IConfiguration &configuration, const std::filesystem::path &file,
                        const InstallationOptions &options);

} // namespace Core::KELP
