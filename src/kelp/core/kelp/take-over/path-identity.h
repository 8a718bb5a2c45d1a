#pragma once

#include "kelp/core/common/errors/error.h"

#include <compare>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Core::KELP {

/// A place in the system, told by its directory and not by the text of its path: two paths through a linked
/// directory are one place. A place that does not exist yet is told by the nearest directory that does.
struct PathIdentity {
    std::uint64_t device = 0;
    std::uint64_t inode = 0;
    std::string below; ///< From that directory on, with a leading "/".

    auto operator<=>(const PathIdentity &) const = default;
};

/// The hash of a place, seeded anew at each start, so that no package can be made to collide. Equal hashes do
/// not prove equal places: compare those.
using PathHash = std::uint64_t;
PathHash hash(const PathIdentity &place);

/// A directory could not be looked at, so a comparison of places cannot tell whether one is free.
class UnknownPath : public Common::Error {
public:
    using Common::Error::Error;
};

/// Finds places, and remembers the last directories, so that many paths of few directories cost little.
/// Correct only while no directory changes.
class PathFinder {
public:
    /// The place of an absolute path. A link at its end is not followed. Raises UnknownPath.
    PathIdentity find(const std::string &path);

private:
    const PathIdentity &directory(const std::string &path);

    std::map<std::string, PathIdentity> directories_;
};

/// An index of many paths by their places. The owner of the paths keeps them in any form.
class PathIndex {
public:
    /// The path of a number below `count`; nothing for one that is not to be found.
    using PathOf = std::function<std::optional<std::string>(std::size_t number)>;

    /// `places` must outlive the object. Raises UnknownPath.
    PathIndex(PathFinder &places, std::size_t count, PathOf pathOf);

    /// The first number whose path is at that place. Raises UnknownPath.
    std::optional<std::size_t> find(const PathIdentity &place) const;

    /// In the order of the hashes.
    const std::vector<std::pair<PathHash, std::size_t>> &hashes() const { return hashes_; }

private:
    PathFinder *places_;
    PathOf pathOf_;
    std::vector<std::pair<PathHash, std::size_t>> hashes_;
};

/// The place of a directory, links followed. Remembers nothing: for walks over all directories of a machine.
/// Raises UnknownPath with ErrorCode::Filesystem "Couldn't look at directory: PATH" when the machine fails.
PathIdentity identityOfDirectory(const std::filesystem::path &path);

} // namespace Core::KELP
