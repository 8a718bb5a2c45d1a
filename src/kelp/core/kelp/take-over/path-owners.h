#pragma once

#include "kelp/core/kelp/take-over/path-identity.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace Common::Rpm {
class Transaction;
}

namespace Core::KELP {

/// The places of all applications of a machine, by hashes alone: the paths of all their files are too many to
/// keep. Each application has a number, which the caller chooses.
struct PlaceHashes {
    struct Entry {
        PathHash place;
        std::size_t application;

        auto operator<=>(const Entry &) const = default;
    };

    std::set<std::uint32_t> instances; ///< The places of the applications' records in rpm's database.
    std::vector<Entry> files;
    std::vector<Entry> targets;        ///< Also one at which the application has a file of its own.
    std::vector<PathHash> directories; ///< Of all files, in any order, and more than once if need be.
};

/// Tells who owns the paths that applications share. findPathOwners() makes it as a whole, and nothing
/// changes it afterwards.
class PathOwners {
public:
    /// All that have one place.
    struct Owners {
        std::vector<std::size_t> holders;   ///< The applications that have a file there.
        std::vector<std::size_t> claimants; ///< The applications that have a target there.
        std::optional<std::string> foreign; ///< A package beside the applications that has a file there.
    };

    struct Path {
        std::string path;
        PathIdentity place;
        std::size_t number = 0; ///< Among the application's files or targets.
    };

    /// The paths of one application at places that others may share.
    struct Paths {
        std::vector<Path> files;
        std::vector<Path> targets;
    };

    PathOwners() = default;
    PathOwners(std::map<PathIdentity, Owners> places, std::map<std::size_t, Paths> applications) :
        places_(std::move(places)), applications_(std::move(applications)) {}

    /// Empty for an application that shares nothing.
    const Paths &pathsOf(std::size_t application) const;

    /// For a path of pathsOf().
    const Owners &of(const Path &path) const { return places_.at(path.place); }

    /// All shared places with their owners.
    const std::map<PathIdentity, Owners> &places() const { return places_; }

private:
    std::map<PathIdentity, Owners> places_;
    std::map<std::size_t, Paths> applications_;
};

/// Takes a path of an application, and its number.
using PathVisitor = std::function<void(const std::string &path, std::size_t number)>;

/// Reads an application once more, and tells all its files and all its targets.
using PathReader =
    std::function<void(std::size_t application, const PathVisitor &file, const PathVisitor &target)>;

/// Finds the owners of all places that two applications have, or where an application and another package
/// have a file. `hashes` come from the first look at each application. `read` reads again only the
/// applications that, by their hashes, may share a place. `hashes.instances` has the records of the
/// applications. The files of all other records come from `rpm`; a record that cannot be read is logged and
/// skipped. Raises UnknownPath, and as forEachRecord() and `read` do.
PathOwners findPathOwners(const Common::Rpm::Transaction &rpm, PlaceHashes hashes, PathFinder &finder,
                          const PathReader &read);

} // namespace Core::KELP
