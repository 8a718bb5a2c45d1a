#pragma once

#include "kelp/core/common/errors/error.h"

#include <compare>
#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <string_view>

namespace Core::KELP {

/// A place in the system by the directory in which it lies, and not by the text of its path: two paths
/// through a linked directory are one place. What does not exist yet is told by the nearest directory that
/// does.
struct PlaceOnDisk {
    std::uint64_t device = 0;
    std::uint64_t inode = 0;
    std::string below; ///< From that directory on, with a leading "/".

    auto operator<=>(const PlaceOnDisk &) const = default;
};

/// A directory could not be looked at: whoever compares places knows of nothing then whether it is free.
class UnknownPlace : public Common::Error {
public:
    using Common::Error::Error;
};

/// Finds places, and remembers directories, so that many paths of few directories cost little. Right as long
/// as nobody changes directories.
class PlaceFinder {
public:
    /// The place of an absolute path. A link at its end is not followed. Raises UnknownPlace.
    PlaceOnDisk find(const std::filesystem::path &path);

private:
    const PlaceOnDisk &directory(const std::filesystem::path &path);

    std::map<std::string, PlaceOnDisk> directories_;
};

/// The place of a directory, links followed, without the memory: for walks over all directories of a machine.
/// Raises UnknownPlace with ErrorCode::Filesystem "Couldn't look at directory: PATH" when the machine fails.
PlaceOnDisk placeOfDirectory(const std::filesystem::path &path);

} // namespace Core::KELP
