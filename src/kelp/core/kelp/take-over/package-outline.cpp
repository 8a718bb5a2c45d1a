#include "kelp/core/kelp/take-over/package-outline.h"

#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/files/directory.h"
#include "kelp/core/common/files/filesystem.h"
#include "kelp/core/common/files/path-tests.h"
#include "kelp/core/kelp/mappings/mapping-table.h"
#include "kelp/core/kelp/mappings/mapping.h"
#include "kelp/core/kelp/package/store-names.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <string_view>

namespace fs = std::filesystem;

namespace Core::KELP {

namespace {

/// A walk over a tree holds a directory open for each name on its way. A process may have 1024 files.
constexpr std::ptrdiff_t deepest = 500;

/// Whether the path is in the place of a file of the store, or of the temporary name that replaceFile() uses
/// for one. The store could not write its own file there, or would drop the package's.
bool isInStoresWay(const fs::path &path) {
    constexpr std::string_view ending = ".new";
    std::string_view first(path.native());
    first = first.substr(0, first.find('/'));
    if (first.ends_with(ending))
        first.remove_suffix(ending.size());
    return first == StoreName::resources ||
           std::ranges::find(StoreName::files, first) != StoreName::files.end();
}

bool pointsBesideItself(const fs::path &target) {
    return !target.empty() && target.native().front() != '.' && target.native().front() != '/';
}

/// What a path leads to; nothing for a missing file. Raises if the look fails: that is not absence.
std::optional<mode_t> modeBehind(const fs::path &installed) {
    struct stat status = {};
    if (::stat(installed.c_str(), &status) == 0)
        return status.st_mode;
    if (Common::isNotFound(errno))
        return std::nullopt;
    throw Common::Error(Common::ErrorCode::Filesystem, "Couldn't look for " + installed.string(), errno);
}

/// Whether something else stands where the package had a link. Raises if the look fails.
bool isAnotherThing(const fs::path &link, const fs::path &target) {
    std::error_code error;
    const fs::file_status status = fs::symlink_status(link, error);
    if (status.type() == fs::file_type::none)
        throw Common::Error(Common::ErrorCode::Filesystem, "Couldn't look for " + link.string(),
                            error.value());
    return fs::exists(status) && (!fs::is_symlink(status) || Common::readSymlink(link) != target);
}

/// Whether only root decides which file we read: the copy would show another user's choice to everybody.
/// Links at the place and on the way must be root's.
bool isRootsToLead(const fs::path &installed) {
    const auto directory = Common::Directory::byLinksOfRoot(installed.parent_path());
    struct stat status = {};
    if (!directory || !directory->look(installed.filename(), status))
        return false;
    if (!S_ISLNK(status.st_mode))
        return true;
    struct stat holder = {};
    return status.st_uid == 0 && ::stat(installed.parent_path().c_str(), &holder) == 0 &&
           holder.st_uid == 0 && (holder.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

} // namespace

PackageOutline::PackageOutline(const RpmPackage &package, const StandingFiles &standing,
                               const fs::path &versionDirectory) :
    versionDirectory_(versionDirectory) {
    for (std::size_t number = 0; number < package.files().size(); ++number)
        add(package, standing, number);
}

void PackageOutline::add(const RpmPackage &package, const StandingFiles &standing, std::size_t number) {
    const RpmPackage::FileEntry &entry = package.files()[number];
    const fs::path path = package.packagePath(entry);
    // The copy would be made outside of its tree, or where the store writes.
    if (std::ranges::find(path, "..") != path.end() || isInStoresWay(path))
        objection_ = objection_.value_or(entry.path + " is no place in the package");
    else if (std::ranges::distance(path) > deepest)
        objection_ = objection_.value_or(entry.path + " lies too deep");
    else if (std::holds_alternative<Common::Rpm::Directory>(entry.kind)) {
        put(path, {});
    } else if (const auto *link = std::get_if<Common::Rpm::Symlink>(&entry.kind)) {
        // The tree gets the record's link: a changed file in its place would be lost.
        if (!objection_ && isAnotherThing(entry.path, link->target))
            objection_ = entry.path + " is not the package's link any more";
        // As RpmPackage::extractLink() will make it.
        const auto translate = [&](const fs::path &system) {
            return packagePathOf(system, package.mappings());
        };
        put(path,
            {Kind::Link, resolveLink(entry.path, link->target, "", versionDirectory_, translate).second});
    } else if (const StandingFiles::File &file = standing[number]; file.isByRoot && S_ISREG(file.mode)) {
        put(path, {Kind::File, {}});
    } else {
        addInstalledFile(entry.path, path);
    }
}

/// As the copy will come out. The file may have been replaced, so its place is examined in detail.
void PackageOutline::addInstalledFile(const fs::path &installed, const fs::path &path) {
    // The copy leaves it out as well, with a warning.
    const auto mode = modeBehind(installed);
    if (!mode)
        return;
    if (!isRootsToLead(installed)) {
        objection_ = objection_.value_or("others than root decide what stands at " + installed.string());
    } else if (Common::isSymlink(installed)) {
        // Root has put a link in the file's place: Common::copy() makes the copy of it.
        const fs::path target = Common::readSymlink(installed);
        put(path, pointsBesideItself(target) ? TreeNode{Kind::Link, target} : TreeNode{Kind::File, {}});
        // The copy would look for a relative text from the working directory, and makes files alone.
        if (!pointsBesideItself(target) && !(target.is_absolute() && S_ISREG(*mode)))
            objection_ = objection_.value_or(installed.string() + " is not a file any more");
    } else if (!objection_) {
        objection_ = installed.string() + " is not a file any more";
    }
}

void PackageOutline::put(const fs::path &path, const TreeNode &node) {
    for (fs::path parent = path.parent_path(); !parent.empty(); parent = parent.parent_path()) {
        const auto [found, isNew] = nodes_.try_emplace(parent.native());
        if (found->second.kind != Kind::Directory && !objection_)
            objection_ = parent.string() + " is not a directory";
        // Its own parents were put with it.
        if (!isNew)
            break;
    }
    const bool isDirectory = node.kind == Kind::Directory;
    const auto [found, isNew] = nodes_.try_emplace(path.native(), node);
    if (!isNew && !(isDirectory && found->second.kind == Kind::Directory) && !objection_)
        objection_ = "two of its files would be " + path.string();
}

const TreeNode *PackageOutline::find(const fs::path &path) const {
    const auto found = nodes_.find(path.native());
    return found == nodes_.end() ? nullptr : &found->second;
}

/// A link that leaves the version counts as dangling: its target does not come along.
bool PackageOutline::leadsSomewhere(const fs::path &link) const {
    const auto lookUp = [this](const fs::path &path) {
        const TreeNode *node = find(path);
        return node ? std::optional(*node) : std::nullopt;
    };
    return followSymbolicLinks(link, versionDirectory_, lookUp).has_value();
}

std::optional<std::string> PackageOutline::mappingObjection(const Mapping &mapping) const {
    fs::path reached;
    for (const fs::path &step : fs::path(mapping.source())) {
        reached /= step;
        const TreeNode *node = find(reached);
        if (!node)
            return std::nullopt;
        // A row's source may be a link, which is published as one file. A link on the way would bring in
        // files from elsewhere.
        const bool isSource = reached == fs::path(mapping.source());
        if (node->kind == Kind::File || (node->kind == Kind::Link && !isSource))
            return reached.string() + " is not a directory";
    }
    return std::nullopt;
}

std::optional<std::string> PackageOutline::objection(const std::vector<Mapping> &mappings) const {
    if (objection_)
        return objection_;
    for (const auto &[path, node] : nodes_)
        if (node.kind == Kind::Link && !leadsSomewhere(path))
            return "the link " + path + " leads to nothing in the package (" + node.target.string() + ")";
    for (const Mapping &mapping : mappings)
        if (auto found = mappingObjection(mapping))
            return found;
    return std::nullopt;
}

CompactPaths PackageOutline::targets(const std::vector<Mapping> &mappings) const {
    CompactPaths places;
    for (const Mapping &mapping : mappings) {
        // Sorted by their texts, the paths below a directory are neighbours.
        const std::string below = mapping.source() + "/";
        if (const TreeNode *source = find(mapping.source()); source && source->kind == Kind::Link)
            // A target ends in "/", and its parent is the same without it.
            places.push_back(fs::path(mapping.target()).parent_path().native());
        for (auto node = nodes_.lower_bound(below); node != nodes_.end() && node->first.starts_with(below);
             ++node)
            if (node->second.kind != Kind::Directory)
                places.push_back(mapping.target() + node->first.substr(below.size()));
    }
    return places;
}

} // namespace Core::KELP
