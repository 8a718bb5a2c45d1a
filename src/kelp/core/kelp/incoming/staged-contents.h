#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace Common::Rpm {
class Reader;
}

namespace Core::KELP {

class Mapping;

/// Whether the staged file `path` is as the package brought it, by the size and the time, in seconds, of its
/// header.
using IsAsPacked = std::function<bool(const std::string &path, std::uint64_t size, std::uint32_t modified)>;

/// Writes the list of contents of a tree in which a package was staged (ContentsList). It replaces a packaged
/// file of that name. `mappings` are the rows for the way from the system to the package. A file that is as
/// packed gets the header's digest; any other file is read. Flushes nothing. Raises ErrorCode::Filesystem,
/// and as FileIterator does.
void listStagedContents(const std::filesystem::path &tree, const std::vector<Mapping> &mappings,
                        const Common::Rpm::Reader &header, const IsAsPacked &isAsPacked);

} // namespace Core::KELP
