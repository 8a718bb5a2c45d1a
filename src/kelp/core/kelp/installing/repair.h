#pragma once

#include "kelp/core/kelp/installing/installation.h"

namespace Core::KELP {

/// Brings the files of an installed version back from its package file, which has to be that very version of
/// the same developer, with the content that the version's list of contents has for each file that was as
/// packed. Neither the version nor the validator decides on it: what it brings was let in already.
///
/// The repaired version is made beside the store, and exchanged with the installed one in one step. It has
/// the package's files where the list has an entry, and of the installed one the store's own files, what the
/// package does not bring, and configuration files that were changed, with all names of each. Killed at any
/// call, the machine has the one or the other, and the tree of the other where installations unpack.
///
/// Raises ErrorCode::PackageNotExist for a package that is not installed, the code of the refusal, and what
/// the package layer raises. The caller holds the writers' lock, except for a dry run, which makes the
/// repaired version and drops it.
Installed repairPackage(const IConfiguration &configuration, const std::filesystem::path &file,
                        const InstallationOptions &options);

} // namespace Core::KELP
