#pragma once

#include <cstdint>
#include <filesystem>

namespace Common {

/// The bytes that may still be written to the filesystem on which `path` lies, or would lie: what does not
/// exist is looked for at its nearest parent that does. Raises ErrorCode::Filesystem "Couldn't retrieve free
/// space: PATH".
std::uint64_t freeSpace(const std::filesystem::path &path);

/// Whether both lie, or would lie, on one filesystem. Raises as freeSpace does.
bool isSameFilesystem(const std::filesystem::path &a, const std::filesystem::path &b);

} // namespace Common
