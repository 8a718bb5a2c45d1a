#include "kelp/core/kelp/take-over/left-tree.h"

#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/files/path-tests.h"
#include "kelp/core/common/foreign-text.h"
#include "kelp/core/common/rpm/file-iterator.h"
#include "kelp/core/common/rpm/tags.h"
#include "kelp/core/kelp/desktop-file/desktop-file.h"
#include "kelp/core/kelp/mappings/mapping-table.h"
#include "kelp/core/kelp/package/contents-list.h"
#include "kelp/core/kelp/package/descriptor.h"
#include "kelp/core/kelp/package/i-database-path-resolver.h"
#include "kelp/core/kelp/package/store-names.h"
#include "kelp/core/kelp/take-over/own-directory.h"

#include "platform/app-manifest/manifest-entry.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>

namespace fs = std::filesystem;

namespace Core::KELP {

namespace {

using Common::Error;
using Common::ErrorCode;
using Common::Rpm::FileIterator;
using Common::Rpm::Reader;

std::optional<PackageInformation> descriptorIn(const fs::path &tree) {
    if (!Common::isThere(tree / StoreName::descriptor))
        return std::nullopt;
    try {
        PackageInformation information = readDescriptor(tree / StoreName::descriptor);
        // A directory is going to have this name.
        const bool isUsable = Common::isFileName(information.at("general.id")) &&
                              Common::isFileName(information.at("general.version"));
        return isUsable ? std::optional(std::move(information)) : std::nullopt;
    } catch (const Error &) {
        return std::nullopt;
    }
}

bool isRegular(const fs::path &path) {
    struct stat status = {};
    if (::lstat(path.c_str(), &status) == 0)
        return S_ISREG(status.st_mode);
    if (!Common::isNotFound(errno))
        throw Error(ErrorCode::Filesystem, "Couldn't look for " + path.string(), errno);
    return false;
}

/// Follows links: the content is at a link's target.
bool isMissing(const fs::path &place) {
    struct stat status = {};
    if (::stat(place.c_str(), &status) == 0)
        return false;
    if (!Common::isNotFound(errno) && errno != ELOOP)
        throw Error(ErrorCode::Filesystem, "Couldn't look for " + place.string(), errno);
    return true;
}

/// As they were when the tree was made: by the desktop file in it, if it has one.
std::vector<Mapping> mappingsOf(const fs::path &tree, const std::string &id) {
    const std::string desktopFile = id + ".desktop";
    const fs::path copy = tree / "manifest" / desktopFile;
    const auto manifest =
        readDesktopFile(isRegular(copy) ? copy.native() : "/usr/share/applications/" + desktopFile);
    // In this direction any key will do.
    return manifest ? buildMappings(id, "KEY", Common::asFileName(manifest->appOrgname()),
                                    Common::asFileName(manifest->appName()), Rooted::No)
                    : buildMappings(id, "KEY", {}, {}, Rooted::No);
}

} // namespace

LeftTree::LeftTree(fs::path path) : path_(std::move(path)), descriptor_(descriptorIn(path_)) {}

std::vector<LeftTree> LeftTree::rescued(const IConfiguration &configuration) {
    std::vector<LeftTree> trees;
    const OwnDirectory directory = OwnDirectory::rescued(configuration);
    if (directory.isOwn() && fs::exists(directory.path()))
        for (const fs::directory_entry &entry : fs::directory_iterator(directory.path()))
            trees.emplace_back(entry.path());
    return trees;
}

std::string LeftTree::name() const {
    return descriptor_ ? descriptor_->at("general.id") + "-" + descriptor_->at("general.version")
                       : path_.filename().string();
}

bool LeftTree::isOf(const std::string &id) const {
    if (descriptor_)
        return descriptor_->at("general.id") == id;
    const std::string name = path_.filename().string();
    // Of several trees of one name the later ones are numbered.
    return name == id || (name.starts_with(id + ".") &&
                          name.find_first_not_of("0123456789", id.size() + 1) == std::string::npos);
}

bool LeftTree::isOf(const std::string &id, const std::string &version) const {
    // Only rescued trees are numbered: "foo.2" is of another application here, whose last copy it may be.
    return descriptor_ ? isOf(id) && descriptor_->at("general.version") == version : path_.filename() == id;
}

bool LeftTree::holdsMissingFile(const Reader &record) const {
    const std::vector<Mapping> mappings = mappingsOf(path_, record.tag(Common::Rpm::Tag::Name));
    bool found = false;
    const auto look = [&](const FileIterator::Entry &entry) {
        const bool isFile = std::holds_alternative<Common::Rpm::RegularFile>(entry.kind);
        const fs::path inTree = packagePathOf(entry.path, mappings);
        found = isFile && std::ranges::find(inTree, "..") == inTree.end() && isRegular(path_ / inTree) &&
                isMissing(entry.path);
        return found;
    };
    FileIterator(record).forEach(look, FileIterator::Names::All, FileIterator::Unexpected::Silent);
    return found;
}

bool LeftTree::isWholeInStore(const IDatabasePathResolver &resolver) const {
    if (!descriptor_)
        return false;
    const std::string &id = descriptor_->at("general.id");
    const fs::path current = resolver.currentDirectory(id);
    const fs::path version = resolver.versionDirectory(id, descriptor_->at("general.version"));
    if (!fs::exists(current) || !fs::exists(version) || !fs::equivalent(current, version) ||
        readDescriptor(current / StoreName::descriptor) != *descriptor_ ||
        !fs::exists(resolver.symlinkListFile(id, PackageSlot::Current)) ||
        !fs::exists(resolver.generatedDirListFile(id, PackageSlot::Current)))
        return false;
    const fs::recursive_directory_iterator files(path_);
    return std::all_of(begin(files), end(files), [&](const fs::directory_entry &entry) {
        // An earlier kelp may have placed the version without the list.
        return entry.is_directory() || entry.path() == path_ / StoreName::contentsList ||
               fs::exists(fs::symlink_status(version / entry.path().lexically_relative(path_)));
    });
}

} // namespace Core::KELP
