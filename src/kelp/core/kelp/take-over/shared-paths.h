#pragma once

#include "kelp/core/kelp/take-over/path-identity.h"

#include <algorithm>
#include <cstddef>
#include <vector>

namespace Core::KELP {

/// Which places may concern more than one application of a machine: of all places hashes alone are kept, and
/// two equal ones only say that their owners are worth a second look.
class SharedPaths {
public:
    /// `owner` is the application's number. A target of its own file is no second place.
    void addFile(PathHash place, std::size_t owner) { files_.push_back({place, owner}); }
    void addTarget(PathHash place, std::size_t owner) { targets_.push_back({place, owner}); }

    /// To be called when all are added, before the questions.
    void sort();

    /// Whether an application may have a file there.
    bool mayHaveFile(PathHash place) const;

    /// Somebody else has a file there.
    void share(PathHash place) { shared_.push_back(place); }

    /// Finds the places that occur more than once, beside those that share() was called for.
    void findShared();

    bool isShared(PathHash place) const { return std::ranges::binary_search(shared_, place); }

    /// The applications that have a file or a target at one of them, in their order.
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
