#pragma once

#include "kelp/core/kelp/take-over/path-identity.h"

#include <algorithm>
#include <cstddef>
#include <vector>

namespace Core::KELP {

/// The places that more than one application of a machine may have. It keeps only hashes: two equal ones mean
/// that their owners need a second look.
class SharedPaths {
public:
    /// `owner` is the application's number. A target of its own file is no second place.
    void addFile(PathHash place, std::size_t owner) { files_.push_back({place, owner}); }
    void addTarget(PathHash place, std::size_t owner) { targets_.push_back({place, owner}); }

    /// To be called when all are added, before the questions.
    void sort();

    /// Whether an application may have a file there.
    bool mayHaveFile(PathHash place) const;

    /// A package that is no candidate has a file there.
    void share(PathHash place) { shared_.push_back(place); }

    /// Finds the places that occur more than once, beside those that share() was called for.
    void findShared();

    bool isShared(PathHash place) const { return std::ranges::binary_search(shared_, place); }

    /// The applications that have a file or a target at a shared place, in their order.
    std::vector<std::size_t> sharers() const;

private:
    struct Claim {
        PathHash place;
        std::size_t owner;

        auto operator<=>(const Claim &) const = default;
    };

    void shareRepeated(const std::vector<Claim> &claims);

    std::vector<Claim> files_;
    std::vector<Claim> targets_;
    std::vector<PathHash> shared_;
};

} // namespace Core::KELP
