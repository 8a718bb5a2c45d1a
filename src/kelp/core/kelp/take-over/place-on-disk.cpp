#include "kelp/core/kelp/take-over/place-on-disk.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <iterator>

namespace fs = std::filesystem;

namespace Core::KELP {

namespace {

PlaceOnDisk below(PlaceOnDisk directory, const fs::path &name) {
    directory.below += "/" + name.native();
    return directory;
}

/// Whether an error says what is there, as a mount of a server that is away does, and that it is none of the
/// directories that can be used. Any other may come at a directory that is there the next time.
bool isAnswer(int error) {
    const int answers[] = {ENOENT, ENOTDIR, ELOOP, ENAMETOOLONG, EACCES, EPERM, ENOTCONN, ESTALE, EHOSTDOWN};
    return std::ranges::find(answers, error) != std::end(answers);
}

} // namespace

PlaceOnDisk placeOfDirectory(const fs::path &path) {
    struct stat status = {};
    if (::stat(path.empty() ? "/" : path.c_str(), &status) == 0)
        return {status.st_dev, status.st_ino, ""};
    if (const int error = errno; !isAnswer(error))
        throw UnknownPlace(Common::ErrorCode::Filesystem, "Couldn't look at directory: " + path.string(),
                           error);
    // A "/" at the end names no component.
    if (path.filename().empty())
        return path.has_relative_path() ? placeOfDirectory(path.parent_path()) : PlaceOnDisk{};
    return below(placeOfDirectory(path.parent_path()), path.filename());
}

const PlaceOnDisk &PlaceFinder::directory(const fs::path &path) {
    auto found = directories_.find(path.native());
    if (found == directories_.end())
        found = directories_.emplace(path.native(), placeOfDirectory(path)).first;
    return found->second;
}

PlaceOnDisk PlaceFinder::find(const fs::path &path) {
    return below(directory(path.parent_path()), path.filename());
}

} // namespace Core::KELP
