#include "kelp/core/kelp/take-over/path-identity.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <functional>
#include <iterator>
#include <random>

namespace fs = std::filesystem;

namespace Core::KELP {

namespace {

constexpr std::size_t directoriesAtMost = 256;

PathIdentity below(PathIdentity directory, const fs::path &name) {
    directory.below += "/" + name.native();
    return directory;
}

/// Whether an error proves that there is no usable directory, as a mount of a dead server does. After any
/// other error the next look may find one.
bool isAnswer(int error) {
    const int answers[] = {ENOENT, ENOTDIR, ELOOP, ENAMETOOLONG, EACCES, EPERM, ENOTCONN, ESTALE, EHOSTDOWN};
    return std::ranges::find(answers, error) != std::end(answers);
}

} // namespace

PathIdentity identityOfDirectory(const fs::path &path) {
    struct stat status = {};
    if (::stat(path.empty() ? "/" : path.c_str(), &status) == 0)
        return {status.st_dev, status.st_ino, ""};
    if (const int error = errno; !isAnswer(error))
        throw UnknownPath(Common::ErrorCode::Filesystem, "Couldn't look at directory: " + path.string(),
                          error);
    // A "/" at the end names no component.
    if (path.filename().empty())
        return path.has_relative_path() ? identityOfDirectory(path.parent_path()) : PathIdentity{};
    return below(identityOfDirectory(path.parent_path()), path.filename());
}

const PathIdentity &PathFinder::directory(const std::string &path) {
    auto found = directories_.find(path);
    if (found == directories_.end() && directories_.size() >= directoriesAtMost)
        directories_.clear();
    if (found == directories_.end())
        found = directories_.emplace(path, identityOfDirectory(path)).first;
    return found->second;
}

PathIdentity PathFinder::find(const std::string &path) {
    const std::size_t nameBegin = path.rfind('/') + 1; // 0 for a name alone.
    PathIdentity found = directory(path.substr(0, nameBegin));
    found.below.append("/").append(path, nameBegin);
    return found;
}

PathHash hash(const PathIdentity &place) {
    static const std::string seed = std::to_string(std::random_device()());
    return std::hash<std::string>()(seed + " " + std::to_string(place.device) + " " +
                                    std::to_string(place.inode) + place.below);
}

PathIndex::PathIndex(PathFinder &places, std::size_t count, PathOf pathOf) :
    places_(&places), pathOf_(std::move(pathOf)) {
    for (std::size_t number = 0; number < count; ++number)
        if (const auto path = pathOf_(number))
            hashes_.emplace_back(hash(places_->find(*path)), number);
    std::ranges::sort(hashes_);
}

std::optional<std::size_t> PathIndex::find(const PathIdentity &place) const {
    const PathHash wanted = hash(place);
    auto found = std::ranges::lower_bound(hashes_, std::pair(wanted, std::size_t{0}));
    for (; found != hashes_.end() && found->first == wanted; ++found)
        if (const auto path = pathOf_(found->second); path && places_->find(*path) == place)
            return found->second;
    return std::nullopt;
}

} // namespace Core::KELP
