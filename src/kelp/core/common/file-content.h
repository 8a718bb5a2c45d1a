#pragma once

#include <filesystem>

namespace Common {

/// Makes `to` with the content and the permission bits of the regular file `from`, which may be reached by a
/// link. The copy belongs to whoever makes it: where that is not the owner of `from`, or not its group, it
/// does not have the bit by which programs run as their owner or as their group, at no moment. Raises
/// std::filesystem::filesystem_error, also when `to` exists, and ErrorCode::Filesystem for what the system
/// tells only when the file is closed; a copy that is not complete, left by a failure or a kill, can be
/// opened by nobody else.
void copyContent(const std::filesystem::path &from, const std::filesystem::path &to);

} // namespace Common
