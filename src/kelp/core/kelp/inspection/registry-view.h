#pragma once

#include "kelp/core/kelp/registry/registry-record.h"

#include <vector>

namespace Core::KELP {

/// The good records of the registry, in file order, for somebody who only wants to look: without the lock,
/// which is a file that would be made. The registry is replaced in one step, so that what is read is one
/// state of it. An absent registry is empty. Raises ErrorCode::UnauthorizedAccess and ErrorCode::Filesystem.
std::vector<RegistryRecord> registryRecords();

} // namespace Core::KELP
