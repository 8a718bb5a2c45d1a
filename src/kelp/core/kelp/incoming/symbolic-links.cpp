#include "kelp/core/kelp/incoming/symbolic-links.h"

#include "kelp/core/kelp/incoming/staging-directory.h"

#include <algorithm>

namespace fs = std::filesystem;

namespace Core::KELP {

namespace {

using Validator::ContentRule;

constexpr std::size_t mostNames = 20'000; ///< Of one package, beyond those of its file list.
constexpr std::size_t deepest = 32;       ///< Directories below one link.

} // namespace

/// The shared state of the walk below directories.
struct SymbolicLinks::Visit {
    const Judge &judge;
    const Refuse &refuse;
    std::size_t names = 0;
    std::vector<fs::path> above = {}; ///< The directories in which the walk is.
};

SymbolicLinks::SymbolicLinks(const StagingDirectory &staging, fs::path versionDirectory) :
    staging_(staging), versionDirectory_(std::move(versionDirectory)) {}

void SymbolicLinks::add(std::string name, fs::path path) {
    links_.push_back({std::move(name), std::move(path)});
}

void SymbolicLinks::judge(const Judge &judge, const Refuse &refuse) const {
    Visit visit{judge, refuse};
    for (const auto &[name, path] : links_) {
        const auto place = follow(path);
        if (!place) {
            refuse(ContentRule::LinkToNothing, name);
            continue;
        }
        judge(name, place->path);
        if (place->isDirectory)
            judgeBelow(name, place->path, visit);
        // Refused by now; the rest would cost as much again.
        if (visit.names > mostNames)
            return;
    }
}

std::optional<TreePlace> SymbolicLinks::follow(const fs::path &path) const {
    return followSymbolicLinks(path, versionDirectory_,
                               [this](const fs::path &at) { return staging_.find(at); });
}

void SymbolicLinks::judgeBelow(const std::string &name, const fs::path &directory, Visit &visit) const {
    // The walk is in this directory already: it would go round for ever.
    if (std::ranges::find(visit.above, directory) != visit.above.end())
        return;
    if (visit.above.size() == deepest)
        return visit.refuse(ContentRule::LinkToTooMuch, name);
    visit.above.push_back(directory);
    for (const std::string &child : staging_.namesIn(directory)) {
        if (visit.names > mostNames)
            break;
        if (++visit.names > mostNames)
            visit.refuse(ContentRule::LinkToTooMuch, name);
        judgeChild(name + '/' + child, directory / child, visit);
    }
    visit.above.pop_back();
}

void SymbolicLinks::judgeChild(const std::string &name, const fs::path &path, Visit &visit) const {
    const auto place = follow(path);
    if (!place)
        return; // A link that is refused under its own name.
    visit.judge(name, place->path);
    if (place->isDirectory)
        judgeBelow(name, place->path, visit);
}

} // namespace Core::KELP
