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

/// Writes the list of contents (ContentsList) of `tree`, in which a package was staged. Removes a packaged
/// file of the list's name first. `mappings` lead from system paths to paths of the package.
///
/// A file of the header's size for which `isAsPacked` holds gets the header's digest. If the header has none,
/// the file is read, and does not count as changed. Any other file of the header, and each %ghost file, is
/// read; if its digest is not the header's, it is listed as changed (ContentsEntry::isChanged), with its own
/// digest. A file that cannot be read for an I/O error (EIO) is logged, and listed as changed too. Does not
/// flush. Raises ErrorCode::Filesystem, and as the readers of the header do; a failure leaves no new list.
void listStagedContents(const std::filesystem::path &tree, const std::vector<Mapping> &mappings,
                        const Common::Rpm::Reader &header, const IsAsPacked &isAsPacked);

} // namespace Core::KELP
