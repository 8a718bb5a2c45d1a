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

/// Whether what was staged of the package's file `path` is what the package brought, judged by the size and
/// the time, in seconds, that its header has.
using IsAsPacked = std::function<bool(const std::string &path, std::uint64_t size, std::uint32_t modified)>;

/// Writes the list of contents of a tree in which a package was staged (ContentsList), in place of a file of
/// the package's own of that name. `mappings` are the rows for the way from the system to the package. The
/// header's digest serves for a file that is as it was packed; any other file is read. Nothing is flushed.
/// Raises ErrorCode::Filesystem, and as FileIterator does.
void listStagedContents(const std::filesystem::path &tree, const std::vector<Mapping> &mappings,
                        const Common::Rpm::Reader &header, const IsAsPacked &isAsPacked);

} // namespace Core::KELP
