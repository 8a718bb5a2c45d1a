#pragma once

#include "kelp/core/common/files/durable-file.h"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace Core::KELP {

// The list files of a version: one system path a line, each line ended by a line feed. Lists are text, for
// they may be long and path objects are large.

/// The paths of a list, without empty lines and a torn last one. A file that cannot be opened is logged and
/// gives none.
std::vector<std::string> readPathList(const std::filesystem::path &file);

/// The same; none where there is no file. Raises as Common::readIfExists() does: a caller that draws
/// conclusions from a missing line needs to know.
std::vector<std::string> requirePathList(const std::filesystem::path &file);

/// The same, but an unreadable list is logged, and gives nothing. An absent one is empty.
std::optional<std::vector<std::string>> findPathList(const std::filesystem::path &file);

/// Whether the last line of a list is torn: then it may have lost paths. Not where there is no file. Raises
/// as Common::readIfExists() does.
bool isTornPathList(const std::filesystem::path &file);

/// Replaces the list in one step, as Common::replaceFile() does. Leaves out a path with a line feed: a reader
/// would take it for several paths, of which one could be foreign. Raises ErrorCode::Filesystem, and then
/// leaves the old list, if there was one.
void writePathList(const std::filesystem::path &file, const std::vector<std::string> &paths,
                   Common::Durability durability);

} // namespace Core::KELP
