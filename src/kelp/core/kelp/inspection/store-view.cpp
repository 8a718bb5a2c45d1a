#include "kelp/core/kelp/inspection/store-view.h"

#include "kelp/core/common/errors/error-category.h"
#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/files/file-descriptor.h"
#include "kelp/core/common/files/filesystem.h"
#include "kelp/core/common/files/path-tests.h"
#include "kelp/core/common/i-configuration.h"
#include "kelp/core/kelp/inspection/tree-view.h"
#include "kelp/core/kelp/package/database-path-resolver.h"
#include "kelp/core/kelp/package/descriptor.h"
#include "kelp/core/kelp/package/path-list.h"
#include "kelp/core/kelp/package/store-entry.h"
#include "kelp/core/kelp/package/store-names.h"
#include "kelp/core/kelp/publication/publication-plan.h"
#include "kelp/core/kelp/take-over/own-directory.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <string_view>
#include <utility>

namespace fs = std::filesystem;

namespace Core::KELP {

namespace {

/// The names in a directory, in byte order; none when there is no such directory.
std::vector<std::string> namesIn(const fs::path &directory) {
    Common::requireReadable(directory);
    std::vector<std::string> names;
    std::error_code error;
    for (fs::directory_iterator entry(directory, error), end; !error && entry != end; entry.increment(error))
        names.push_back(entry->path().filename().string());
    if (error && error != std::errc::no_such_file_or_directory)
        throw Common::Error(Common::ErrorCode::Filesystem, "Couldn't read directory: " + directory.string(),
                            error.value());
    std::ranges::sort(names);
    return names;
}

std::optional<PackageInformation> informationAt(const fs::path &descriptor) {
    // Checked by a look first: readDescriptor() would log the absence.
    if (!Common::lookFor(descriptor))
        return std::nullopt;
    Common::requireReadable(descriptor);
    try {
        return readDescriptor(descriptor);
    } catch (const Common::Error &error) {
        if (isFaultOfMachine(error))
            throw;
        return std::nullopt;
    }
}

/// The published files of one package. Each is looked at by one call in its directory, which stays open for
/// the next ones. Raises when a look fails.
class PublishedFiles {
public:
    /// `directory` is the package's, `current` the link in it, and `tree` its content.
    PublishedFiles(const fs::path &directory, const fs::path &current, const TreeView &tree) :
        directory_(directory.string() + "/"), current_(current.string() + "/"), tree_(tree) {
        std::error_code error;
        version_ = fs::read_symlink(current, error).string() + "/";
        if (error && error != std::errc::invalid_argument)
            requireAbsence(error.value(), current);
    }

    /// Whether a file is there. A link that the store made must lead to the store's file, which may itself be
    /// a link to anywhere.
    bool isThere(const fs::path &target) {
        if (!enter(target.parent_path()))
            return false;
        const ssize_t size =
            ::readlinkat(place_.get(), target.filename().c_str(), text_.data(), text_.size());
        if (size < 0) {
            if (errno == EINVAL)
                return true;
            requireAbsence(errno, target);
            return false;
        }
        const std::string_view source(text_.data(), static_cast<std::size_t>(size));
        return !source.starts_with(directory_) || isInTree(source) || Common::lookFor(source);
    }

private:
    /// The store's links lead through the link `current`.
    bool isInTree(std::string_view source) const {
        return source.starts_with(current_) &&
               tree_.holds(version_ + std::string(source.substr(current_.size())));
    }

    /// Whether it is there; when it is missing, all in it are.
    bool enter(fs::path place) {
        if (place != path_) {
            path_ = std::move(place);
            place_ = Common::FileDescriptor(::open(path_.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
            if (place_.get() < 0)
                requireAbsence(errno, path_);
        }
        return place_.get() >= 0;
    }

    static void requireAbsence(int error, const fs::path &path) {
        if (!Common::provesAbsence(error))
            throw Common::Error(Common::ErrorCode::Filesystem, "Couldn't look at " + path.string(), error);
    }

    std::string directory_;
    std::string current_;
    std::string version_; ///< To which `current` leads.
    const TreeView &tree_;
    fs::path path_;
    Common::FileDescriptor place_;
    std::array<char, PATH_MAX> text_;
};

} // namespace

std::string StoredPackage::value(const char *key) const {
    if (!information)
        return {};
    const auto found = information->find(key);
    return found == information->end() ? std::string() : found->second;
}

std::vector<StoredPackage> StoreView::packages() const {
    std::vector<StoredPackage> all;
    for (const std::string &id : namesIn(configuration_->databaseDirectory()))
        if (auto package = read(id))
            all.push_back(std::move(*package));
    return all;
}

std::vector<fs::path> StoreView::foreign() const {
    std::vector<fs::path> all;
    for (const std::string &name : namesIn(configuration_->databaseDirectory()))
        if (!name.starts_with('.') && name != "lost+found" && !read(name))
            all.push_back(configuration_->databaseDirectory() / name);
    return all;
}

std::optional<StoredPackage> StoreView::package(const std::string &id) const {
    Common::requireReadable(configuration_->databaseDirectory());
    return read(id);
}

/// A failed look does not make a package foreign, and must not hide the others.
std::optional<StoredPackage> StoreView::read(const std::string &id) const {
    StoredPackage package;
    package.id = id;
    try {
        if (!isPackage(id))
            return std::nullopt;
        addDetails(package);
    } catch (const Common::Error &error) {
        // Without the permission to look, the whole view fails.
        if (error.code() == Common::ErrorCategory::make(Common::ErrorCode::UnauthorizedAccess))
            throw;
        package.failure = Common::explainedText(error);
    }
    return package;
}

bool StoreView::isPackage(const std::string &id) const {
    const DatabasePathResolver resolver(*configuration_);
    const StoreEntry entry(resolver, id);
    const StoreEntry::Kind kind = entry.kind();
    if (kind == StoreEntry::Kind::Link)
        return records_.knows(id);
    if (kind != StoreEntry::Kind::Directory)
        return false;
    // The descriptor first: a healthy package needs no records.
    if (entry.isNamedByDescriptor() || records_.isInstalled(id))
        return true;
    // A removed package counts only while entries of its own are left, not for foreign ones.
    return records_.knows(id) && (entry.slot(PackageSlot::Current).isOurs() ||
                                  entry.slot(PackageSlot::Next).isOurs() || !entry.content().own.empty());
}

void StoreView::addDetails(StoredPackage &package) const {
    const std::string &id = package.id;
    const DatabasePathResolver resolver(*configuration_);
    const StoreEntry entry(resolver, id);
    package.isLink = entry.kind() == StoreEntry::Kind::Link;
    const StoreEntry::Slot current = entry.slot(PackageSlot::Current);
    package.version = current.version;
    if (current.counts()) {
        Common::requireReadable(resolver.descriptorFile(id, PackageSlot::Current));
        StoreEntry::Descriptor descriptor = entry.descriptor(current.version);
        if (!descriptor.failure.empty())
            throw Common::Error(Common::ErrorCode::Filesystem, descriptor.failure);
        if (descriptor.state == StoreEntry::DescriptorState::Own)
            package.information = std::move(descriptor.information);
        package.hasPlan = Common::lookFor(resolver.currentDirectory(id) / StoreName::publicationPlan);
    }
    const StoreEntry::Slot next = entry.slot(PackageSlot::Next);
    package.hasNext = next.isOurs();
    package.isObstructed =
        current.isForeign() || next.isForeign() || entry.slot(PackageSlot::Previous).isForeign();
}

std::optional<std::string> StoreView::versionOfRecord(const std::string &id) const {
    const DatabasePathResolver resolver(*configuration_);
    const StoreEntry entry(resolver, id);
    if (!entry.slot(PackageSlot::Current).counts())
        return std::nullopt;
    for (const PackageSlot which : {PackageSlot::Next, PackageSlot::Current})
        if (const StoreEntry::Slot slot = entry.slot(which);
            slot.counts() && entry.descriptor(slot.version).state == StoreEntry::DescriptorState::Own)
            return slot.version;
    throw Common::Error(Common::ErrorCode::CorruptedInstalledPackage,
                        "Couldn't read velura.pkg file of the " + id + " package");
}

std::optional<std::vector<std::string>> StoreView::publishedFiles(const std::string &id) const {
    return paths(id, DatabasePathResolver(*configuration_).symlinkListFile(id, PackageSlot::Current));
}

std::optional<std::vector<std::string>> StoreView::madeDirectories(const std::string &id) const {
    return paths(id, DatabasePathResolver(*configuration_).generatedDirListFile(id, PackageSlot::Current));
}

void StoreView::requireNoMountIn(const std::string &id) const {
    const DatabasePathResolver resolver(*configuration_);
    for (const std::string &version : StoreEntry(resolver, id).content(records_.underWay(id)).own)
        Common::requireNoMount(resolver.versionDirectory(id, version));
}

std::optional<std::vector<std::string>> StoreView::paths(const std::string &id, const fs::path &list) const {
    Common::requireReadable(list);
    // Any other link leads to a foreign list.
    const DatabasePathResolver resolver(*configuration_);
    const bool isOurs = StoreEntry(resolver, id).slot(PackageSlot::Current).counts();
    return isOurs && Common::lookFor(list) ? std::optional(requirePathList(list)) : std::nullopt;
}

PackageFiles StoreView::files(const std::string &id) const {
    const DatabasePathResolver resolver(*configuration_);
    const TreeView tree(resolver.packageDirectory(id));
    PublishedFiles published(resolver.packageDirectory(id), resolver.currentDirectory(id), tree);
    const auto listed = publishedFiles(id);
    const bool isListed = listed && !isTornPathList(resolver.symlinkListFile(id, PackageSlot::Current));
    PackageFiles files{tree.bytes(), {}, isListed};
    for (const std::string &target : listed.value_or(std::vector<std::string>()))
        if (!published.isThere(target))
            files.missing.emplace_back(target);
    return files;
}

std::uintmax_t StoreView::bytes(const std::string &id) const {
    return TreeView(DatabasePathResolver(*configuration_).packageDirectory(id)).bytes();
}

std::vector<RescuedTree> StoreView::rescued() const {
    const OwnDirectory directory = OwnDirectory::rescued(*configuration_);
    const fs::path &place = directory.path();
    std::vector<RescuedTree> all;
    if (!directory.isOwn())
        return all;
    for (const std::string &name : namesIn(place)) {
        if (name == OwnDirectory::markName)
            continue;
        // The directory's name is not the id: a version follows, and a number if there were several.
        const auto information = informationAt(place / name / StoreName::descriptor);
        all.emplace_back(information ? information->at("general.id") : name, place / name);
    }
    return all;
}

} // namespace Core::KELP
