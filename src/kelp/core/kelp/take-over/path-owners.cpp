#include "kelp/core/kelp/take-over/path-owners.h"

#include "kelp/core/common/rpm/installed-files.h"
#include "kelp/core/common/rpm/tags.h"
#include "kelp/core/common/rpm/transaction.h"
#include "kelp/core/kelp/take-over/installed-application.h"

#include <algorithm>

namespace Core::KELP {

namespace {

using Common::Rpm::InstalledFiles;
using Common::Rpm::Reader;
using Common::Rpm::Transaction;

/// Compares hashes first, and then the places with equal ones.
class OwnerSearch {
public:
    explicit OwnerSearch(PlaceHashes hashes) : hashes_(std::move(hashes)) {
        std::ranges::sort(hashes_.files);
        std::ranges::sort(hashes_.targets);
        std::ranges::sort(hashes_.directories);
    }

    void findForeign(const Transaction &rpm) {
        if (hashes_.directories.empty())
            return;
        forEachRecord(rpm, [this](const Reader &reader) {
            if (!hashes_.instances.contains(Common::Rpm::databaseInstance(reader)))
                addForeign(reader);
        });
    }

    /// Finds the places that occur more than once, beside those of other packages.
    void findShared() {
        shareRepeated(hashes_.files);
        shareRepeated(hashes_.targets);
        for (const PlaceHashes::Entry &target : hashes_.targets)
            // A target should hold only its own application's file.
            if (mayHaveFile(target.place) && !std::ranges::binary_search(hashes_.files, target))
                shared_.push_back(target.place);
        std::ranges::sort(shared_);
        shared_.erase(std::unique(shared_.begin(), shared_.end()), shared_.end());
    }

    PathOwners lookAgain(PathFinder &finder, const PathReader &read) {
        std::map<std::size_t, PathOwners::Paths> applications;
        for (const std::size_t application : sharers()) {
            auto &[files, targets] = applications[application];
            read(application, noting(application, files, &PathOwners::Owners::holders, finder),
                 noting(application, targets, &PathOwners::Owners::claimants, finder));
        }
        return {std::move(places_), std::move(applications)};
    }

private:
    void addForeign(const Reader &reader) {
        const auto record = unlessUnreadable([&] { return InstalledFiles(reader); });
        if (!record)
            return;
        std::vector<std::optional<PathIdentity>> interesting;
        for (int i = 0; i < record->directoryCount(); ++i) {
            PathIdentity place = identityOfDirectory(record->directory(i));
            // A machine has hundreds of thousands of files and few directories that matter here.
            const bool matters =
                place.below.empty() && std::ranges::binary_search(hashes_.directories, hash(place));
            interesting.push_back(matters ? std::optional(std::move(place)) : std::nullopt);
        }
        for (int i = 0; i < record->count(); ++i) {
            const auto &directory = interesting.at(static_cast<std::size_t>(record->directoryOf(i)));
            if (!directory || !record->isInstalled(i) || record->isDirectory(i))
                continue;
            PathIdentity place = *directory;
            place.below = "/" + std::string(record->name(i));
            if (!mayHaveFile(hash(place)))
                continue;
            shared_.push_back(hash(place));
            if (auto &foreign = places_[std::move(place)].foreign; !foreign)
                foreign = reader.tagOr(Common::Rpm::Tag::Name, "another package");
        }
    }

    bool mayHaveFile(PathHash place) const {
        const auto found = std::ranges::lower_bound(hashes_.files, place, {}, &PlaceHashes::Entry::place);
        return found != hashes_.files.end() && found->place == place;
    }

    void shareRepeated(const std::vector<PlaceHashes::Entry> &entries) {
        for (std::size_t i = 1; i < entries.size(); ++i)
            if (entries[i].place == entries[i - 1].place)
                shared_.push_back(entries[i].place);
    }

    /// Notes the paths at shared places, and the application as one of the owners there.
    PathVisitor noting(std::size_t application, std::vector<PathOwners::Path> &paths,
                       std::vector<std::size_t> PathOwners::Owners::*owners, PathFinder &finder) {
        return [=, this, &paths, &finder](const std::string &path, std::size_t number) {
            PathIdentity place = finder.find(path);
            if (!isShared(hash(place)))
                return;
            (places_[place].*owners).push_back(application);
            paths.push_back({path, std::move(place), number});
        };
    }

    bool isShared(PathHash place) const { return std::ranges::binary_search(shared_, place); }

    /// The applications that have a file or a target at a shared place, in their order.
    std::vector<std::size_t> sharers() const {
        std::vector<std::size_t> applications;
        for (const auto *entries : {&hashes_.files, &hashes_.targets})
            for (const PlaceHashes::Entry &entry : *entries)
                if (isShared(entry.place))
                    applications.push_back(entry.application);
        std::ranges::sort(applications);
        applications.erase(std::unique(applications.begin(), applications.end()), applications.end());
        return applications;
    }

    PlaceHashes hashes_;
    std::vector<PathHash> shared_;
    std::map<PathIdentity, PathOwners::Owners> places_;
};

} // namespace

const PathOwners::Paths &PathOwners::pathsOf(std::size_t application) const {
    static const Paths none;
    const auto found = applications_.find(application);
    return found == applications_.end() ? none : found->second;
}

PathOwners findPathOwners(const Transaction &rpm, PlaceHashes hashes, PathFinder &finder,
                          const PathReader &read) {
    OwnerSearch search(std::move(hashes));
    search.findForeign(rpm);
    search.findShared();
    return search.lookAgain(finder, read);
}

} // namespace Core::KELP
