#include "kelp/core/kelp/take-over/place-on-disk.h"

#include <sys/stat.h>

namespace fs = std::filesystem;

namespace Core::KELP {

namespace {

PlaceOnDisk below(PlaceOnDisk directory, const fs::path &name) {
    directory.below += "/" + name.native();
    return directory;
}

} // namespace

PlaceOnDisk placeOfDirectory(const fs::path &path) {
    struct stat status = {};
    if (::stat(path.empty() ? "/" : path.c_str(), &status) == 0)
        return {status.st_dev, status.st_ino, ""};
    // A "/" at the end names no component.
    if (path.filename().empty())
        return path.has_relative_path() ? placeOfDirectory(path.parent_path()) : PlaceOnDisk{};
    return below(placeOfDirectory(path.parent_path()), path.filename());
}

const PlaceOnDisk &PlaceFinder::directory(const fs::path &path) {
    const auto [found, isNew] = directories_.try_emplace(path.native());
    if (isNew)
        found->second = placeOfDirectory(path);
    return found->second;
}

PlaceOnDisk PlaceFinder::find(const fs::path &path) {
    return below(directory(path.parent_path()), path.filename());
}

} // namespace Core::KELP
