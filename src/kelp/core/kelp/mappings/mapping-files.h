#pragma once

#include <filesystem>

namespace Core::KELP {

/// How a file is published.
enum class MappingMode {
    Link, ///< A symbolic link to the file in the store.
    Copy, ///< A copy that carries the path of its source in the attribute "user.kelp.mapping.target".
};

/// Where the mapping at `path` points: the text of a link, or the attribute of a copy. Raises
/// ErrorCode::Internal when `path` is neither.
std::filesystem::path mappingTarget(const std::filesystem::path &path);

/// Whether `path` is a link, or a copy that still carries its attribute.
bool isMapping(const std::filesystem::path &path);

/// Publishes `source` at `target`, making the parents of `target`. A mapping at `target` whose own target is
/// gone is replaced. Anything else that exists there stays and raises ErrorCode::FileConflict. A mapping that
/// cannot be made raises ErrorCode::Filesystem.
void createMapping(const std::filesystem::path &source, const std::filesystem::path &target,
                   MappingMode mode);

} // namespace Core::KELP
