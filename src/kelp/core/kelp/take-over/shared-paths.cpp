#include "kelp/core/kelp/take-over/shared-paths.h"

namespace Core::KELP {

void SharedPaths::sort() {
    std::ranges::sort(files_);
    std::ranges::sort(targets_);
}

bool SharedPaths::mayHaveFile(PathHash place) const {
    const auto found = std::ranges::lower_bound(files_, place, {}, &Claim::place);
    return found != files_.end() && found->place == place;
}

void SharedPaths::shareRepeated(const std::vector<Claim> &claims) {
    for (std::size_t i = 1; i < claims.size(); ++i)
        if (claims[i].place == claims[i - 1].place)
            share(claims[i].place);
}

void SharedPaths::findShared() {
    shareRepeated(files_);
    shareRepeated(targets_);
    for (const Claim &target : targets_)
        // A target should hold only its own application's file.
        if (mayHaveFile(target.place) && !std::ranges::binary_search(files_, target))
            share(target.place);
    std::ranges::sort(shared_);
    shared_.erase(std::unique(shared_.begin(), shared_.end()), shared_.end());
}

std::vector<std::size_t> SharedPaths::sharers() const {
    std::vector<std::size_t> owners;
    for (const auto *claims : {&files_, &targets_})
        for (const Claim &claim : *claims)
            if (isShared(claim.place))
                owners.push_back(claim.owner);
    std::ranges::sort(owners);
    owners.erase(std::unique(owners.begin(), owners.end()), owners.end());
    return owners;
}

} // namespace Core::KELP
