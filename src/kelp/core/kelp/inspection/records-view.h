#pragma once

#include "kelp/core/kelp/registry/registry-record.h"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace Core::KELP {

/// The good records of the registry, in file order, for somebody who only wants to look: without the lock,
/// which is a file that would be made. The registry is replaced in one step, so that what is read is one
/// state of it. An absent registry is empty. Raises ErrorCode::UnauthorizedAccess and ErrorCode::Filesystem.
std::vector<RegistryRecord> registryRecords();

/// The file that names a package from before the first step of its removal to behind the last.
std::filesystem::path removalFile();

/// The package of which the removal was begun and not completed.
std::optional<std::string> unfinishedRemoval();

} // namespace Core::KELP
