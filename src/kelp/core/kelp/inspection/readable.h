#pragma once

#include <filesystem>

namespace Core::KELP {

/// Raises ErrorCode::UnauthorizedAccess "Only root can read PATH" for a file or directory that exists, or may
/// exist, and that this process may not read. For a look at a place that would otherwise be taken for empty.
void requireReadable(const std::filesystem::path &path);

} // namespace Core::KELP
