#include "kelp/core/kelp/take-over/staging-area.h"

#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/errors/log-stream.h"
#include "kelp/core/common/files/durable-file.h"
#include "kelp/core/common/files/filesystem.h"
#include "kelp/core/common/files/path-tests.h"
#include "kelp/core/common/i-configuration.h"
#include "kelp/core/common/places.h"

#include <algorithm>

namespace fs = std::filesystem;

namespace Core::KELP {

namespace {

using Common::Error;
using Common::ErrorCode;
using Common::LogLevel;
using Common::LogStream;

/// Says that the directory was made for the launcher, or given to it when it was empty.
constexpr const char *markName = ".kelp-staging";

/// For the descriptor, the lists, the links and the lines of the registry, with room to spare.
constexpr std::uint64_t spacePerPackage = 64U << 10;

fs::path plain(const fs::path &path) {
    const fs::path normal = fs::absolute(path).lexically_normal();
    return normal.has_filename() ? normal : normal.parent_path();
}

/// By their words alone: what does not exist yet has no other form.
bool isWithin(const fs::path &path, const fs::path &directory) {
    const fs::path relative = plain(path).lexically_relative(plain(directory));
    return !relative.empty() && *relative.begin() != "..";
}

/// Whatever the spelling is under which the directory was configured when its path was written down: the tree
/// may be the only copy of an application.
bool isAmong(const std::set<fs::path> &paths, const fs::path &entry) {
    const auto isSame = [&](const fs::path &path) {
        std::error_code ignored;
        return fs::equivalent(path, entry, ignored);
    };
    return paths.contains(entry) || std::ranges::any_of(paths, isSame);
}

bool isDefaultPlace(const fs::path &directory) {
    return plain(directory) == plain(Common::rootPath() / "opt/kelp/tmp");
}

Error foreignDirectory(const fs::path &directory) {
    return {ErrorCode::Filesystem,
            "The temporary directory is not the package manager's own: " + directory.string()};
}

} // namespace

bool StagingArea::isOwn() const {
    const fs::path &directory = configuration_->tempDirectory();
    const fs::path &store = configuration_->databaseDirectory();
    if (isWithin(store, directory) || isWithin(directory, store))
        return false;
    return isDefaultPlace(directory) || !Common::exists(directory) || Common::exists(directory / markName) ||
           Common::isEmptyDirectory(directory);
}

void StagingArea::requireOwn() const {
    const fs::path &directory = configuration_->tempDirectory();
    if (!isOwn())
        throw foreignDirectory(directory);
    if (isDefaultPlace(directory) || Common::exists(directory / markName))
        return;
    Common::createDirectories(directory);
    // Killed before this, the next start finds an empty directory again.
    Common::writeDurably(directory / markName, "");
}

std::vector<fs::path> StagingArea::leftovers(const std::set<fs::path> &kept) const {
    std::vector<fs::path> leftovers;
    if (Common::exists(configuration_->tempDirectory()))
        for (const fs::directory_entry &entry : fs::directory_iterator(configuration_->tempDirectory()))
            if (!isAmong(kept, entry.path()) && entry.path().filename() != markName)
                leftovers.push_back(entry.path());
    return leftovers;
}

void StagingArea::clear(const std::set<fs::path> &kept) const {
    try {
        Common::removeAll(movedProbe());
        for (const fs::path &leftover : leftovers(kept))
            Common::removeAll(leftover);
    } catch (const std::exception &error) {
        LogStream(LogLevel::Warning) << "Couldn't cleanup database temporary directory";
        LogStream(LogLevel::Warning) << error;
    }
}

fs::path StagingArea::treeOf(const std::string &id) const {
    return configuration_->tempDirectory() / id;
}

std::uint64_t StagingArea::room() const {
    return Common::freeSpace(configuration_->tempDirectory());
}

std::uint64_t StagingArea::reservePerPackage() {
    return spacePerPackage;
}

void StagingArea::secure(std::size_t count) const {
    const fs::path &staged = configuration_->tempDirectory();
    // With the store on another filesystem no copy could be moved there, and all would be lost.
    const fs::path probe = staged / ".probe";
    Common::createDirectories(probe);
    Common::move(probe, movedProbe());
    // Left by a kill, it is what clear() removes.
    Common::removeAll(movedProbe());
    // On a full disk the copies would be there and not the space for the store's own files.
    Common::reserveSpace(reserve(), count * spacePerPackage);
    // The staged copies are about to be the only ones: a power cut behind rpm's erasure would find copies
    // without content.
    Common::flushFilesystem(staged);
}

fs::path StagingArea::movedProbe() const {
    return configuration_->databaseDirectory() / ".probe";
}

fs::path StagingArea::reserve() const {
    return configuration_->tempDirectory() / ".ballast";
}

void StagingArea::releaseReserve() const {
    std::error_code ignored;
    fs::remove(reserve(), ignored);
}

fs::path StagingArea::surroundings(const IConfiguration &configuration) {
    return plain(configuration.tempDirectory()).parent_path();
}

fs::path StagingArea::rescuePlace(const std::string &id, const std::string &version) const {
    return surroundings(*configuration_) / "rescued" / (id + "-" + version);
}

bool StagingArea::isRescued(const std::string &id, const std::string &version) const {
    return Common::exists(rescuePlace(id, version));
}

fs::path StagingArea::rescue(const fs::path &tree, const std::string &id, const std::string &version) const {
    const fs::path first = rescuePlace(id, version);
    fs::path place = first;
    // Another tree of the version may be the only copy of something that this one does not hold.
    for (int i = 2; Common::exists(place); ++i)
        place = first.string() + "." + std::to_string(i);
    // One rename: a kill finds the tree at its old place or at the new one.
    Common::move(tree, place);
    return place;
}

} // namespace Core::KELP
