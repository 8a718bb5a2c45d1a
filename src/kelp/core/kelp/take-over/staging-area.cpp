#include "kelp/core/kelp/take-over/staging-area.h"

#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/errors/log-stream.h"
#include "kelp/core/common/files/durable-file.h"
#include "kelp/core/common/files/filesystem.h"
#include "kelp/core/common/files/path-tests.h"
#include "kelp/core/common/i-configuration.h"
#include "kelp/core/kelp/take-over/own-directory.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <exception>

namespace fs = std::filesystem;

namespace Core::KELP {

namespace {

using Common::Error;
using Common::ErrorCode;

/// The prefix of the names of useless trees.
constexpr const char *givenUpPrefix = ".given-up.";
constexpr const char *probeName = ".probe";
constexpr const char *reserveName = ".ballast";

/// For the descriptor, the lists, the links and the lines of the registry, with room to spare.
constexpr std::uint64_t spaceBesideFiles = 64U << 10;

/// By their texts: a path that does not exist yet cannot be resolved.
bool isWithin(const fs::path &path, const fs::path &directory) {
    const fs::path relative = plainPath(path).lexically_relative(plainPath(directory));
    return !relative.empty() && *relative.begin() != "..";
}

/// Even if the directory was configured in another spelling when the path was written: the tree may be the
/// only copy of an application.
bool isAmong(const std::set<fs::path> &paths, const fs::path &entry) {
    const auto isSame = [&](const fs::path &path) {
        std::error_code ignored;
        return fs::equivalent(path, entry, ignored);
    };
    return paths.contains(entry) || std::ranges::any_of(paths, isSame);
}

} // namespace

bool StagingArea::isBesideStore() const {
    const fs::path &directory = configuration_->tempDirectory();
    const fs::path &store = configuration_->databaseDirectory();
    return !isWithin(store, directory) && !isWithin(directory, store);
}

bool StagingArea::isOwn() const {
    return isBesideStore() && OwnDirectory::temporary(*configuration_).isOwn();
}

void StagingArea::requireOwn() const {
    const fs::path &directory = configuration_->tempDirectory();
    if (!isBesideStore())
        throw Error(ErrorCode::Filesystem,
                    "The temporary directory is not the package manager's own: " + directory.string());
    OwnDirectory::temporary(*configuration_).require();
}

std::vector<fs::path> StagingArea::leftovers(const std::set<fs::path> &kept) const {
    std::vector<fs::path> leftovers;
    if (Common::lookThrough(configuration_->tempDirectory()))
        for (const fs::directory_entry &entry : fs::directory_iterator(configuration_->tempDirectory()))
            if (!isAmong(kept, entry.path()) && entry.path().filename() != OwnDirectory::markName)
                leftovers.push_back(entry.path());
    return leftovers;
}

bool StagingArea::isScrap(const fs::path &leftover) {
    const std::string name = leftover.filename().string();
    std::error_code error;
    return name == probeName || name == reserveName || name.starts_with(givenUpPrefix) ||
           (fs::symlink_status(leftover, error).type() == fs::file_type::directory &&
            fs::is_empty(leftover, error) && !error);
}

void StagingArea::clearScrap(const std::set<fs::path> &kept) const {
    dropMovedProbe();
    std::exception_ptr failure;
    for (const fs::path &leftover : leftovers(kept))
        try {
            if (isScrap(leftover))
                Common::removeAll(leftover);
        } catch (const Error &) {
            failure = failure ? failure : std::current_exception();
        }
    if (failure)
        std::rethrow_exception(failure);
}

void StagingArea::giveUp(const fs::path &tree) const {
    fs::path scrap;
    for (int i = 1; scrap.empty() || Common::lookFor(scrap); ++i)
        scrap = configuration_->tempDirectory() / (givenUpPrefix + std::to_string(i));
    // One rename: after a kill during the removal a part of the tree could pass for the whole.
    Common::move(tree, scrap);
    try {
        Common::removeAll(scrap);
    } catch (const std::exception &error) {
        Common::LogStream(Common::LogLevel::Warning) << error;
    }
}

fs::path StagingArea::treeOf(const std::string &id) const {
    return configuration_->tempDirectory() / id;
}

std::uint64_t StagingArea::room() const {
    return Common::freeSpace(configuration_->tempDirectory());
}

std::uint64_t StagingArea::spacePerPackage() {
    return spaceBesideFiles;
}

void StagingArea::secure() const {
    const fs::path &staged = configuration_->tempDirectory();
    // With the store on another filesystem no tree could be moved there.
    const fs::path probe = staged / probeName;
    Common::createDirectories(probe);
    if (Common::lookFor(movedProbe())) {
        // Somebody's. Only between two filesystems would the move fail for another reason.
        if (::rename(probe.c_str(), movedProbe().c_str()) != 0 && errno == EXDEV)
            throw Error(ErrorCode::Filesystem,
                        "Couldn't move " + probe.string() + " to " + movedProbe().string(), EXDEV);
        Common::removeAll(probe);
    } else {
        Common::move(probe, movedProbe());
    }
    // After a kill clearScrap() removes it.
    dropMovedProbe();
    // The journal will say that every tree is complete and on disk.
    Common::flushFilesystem(staged);
}

/// Removes an empty directory alone: the name may be anybody's.
void StagingArea::dropMovedProbe() const {
    ::rmdir(movedProbe().c_str());
}

fs::path StagingArea::movedProbe() const {
    return configuration_->databaseDirectory() / probeName;
}

fs::path StagingArea::rescuePlace(const std::string &name) const {
    return OwnDirectory::rescued(*configuration_).path() / name;
}

fs::path StagingArea::rescue(const fs::path &tree, const std::string &name) const {
    OwnDirectory::rescued(*configuration_).require();
    const fs::path first = rescuePlace(name);
    fs::path place = first;
    // Another tree of the version may be the only copy of files that this one lacks.
    for (int i = 2; Common::lookFor(place); ++i)
        place = first.string() + "." + std::to_string(i);
    // One rename: a kill finds the tree at its old place or at the new one.
    Common::move(tree, place);
    return place;
}

} // namespace Core::KELP
