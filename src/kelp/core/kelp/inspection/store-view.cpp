#include "kelp/core/kelp/inspection/store-view.h"

#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/files/file-descriptor.h"
#include "kelp/core/common/files/path-tests.h"
#include "kelp/core/common/i-configuration.h"
#include "kelp/core/kelp/inspection/tree-view.h"
#include "kelp/core/kelp/package/database-path-resolver.h"
#include "kelp/core/kelp/package/descriptor.h"
#include "kelp/core/kelp/package/path-list.h"
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
        throw Common::Error(Common::ErrorCode::Filesystem, "Couldn't read directory: " + directory.string());
    std::ranges::sort(names);
    return names;
}

std::optional<PackageInformation> informationAt(const fs::path &descriptor) {
    // Told by one look: readDescriptor() would log what is no news to somebody who looks for it.
    if (!Common::isThere(descriptor))
        return std::nullopt;
    Common::requireReadable(descriptor);
    try {
        return readDescriptor(descriptor);
    } catch (const std::exception &) {
        return std::nullopt;
    }
}

/// The published files of one package, each asked for by one call in its directory, which stays open for
/// those that follow.
class PublishedFiles {
public:
    /// `directory` is the package's, `current` the link in it, and `tree` what lies there.
    PublishedFiles(const fs::path &directory, const fs::path &current, const TreeView &tree) :
        directory_(directory.string() + "/"), current_(current.string() + "/"), tree_(tree) {
        std::error_code error;
        version_ = fs::read_symlink(current, error).string() + "/";
    }

    /// Whether a file is there. A link that the store made has to lead to what the store has of the file;
    /// that one may be a link to anywhere itself.
    bool isThere(const fs::path &target) {
        enter(target.parent_path());
        const ssize_t size =
            ::readlinkat(place_.get(), target.filename().c_str(), text_.data(), text_.size());
        if (size < 0)
            return errno == EINVAL;
        const std::string_view source(text_.data(), static_cast<std::size_t>(size));
        return !source.starts_with(directory_) || isInTree(source) || Common::isThere(source);
    }

private:
    /// The links that the store makes lead by way of the current version's.
    bool isInTree(std::string_view source) const {
        return source.starts_with(current_) &&
               tree_.holds(version_ + std::string(source.substr(current_.size())));
    }

    void enter(fs::path place) {
        if (place == path_)
            return;
        path_ = std::move(place);
        // Nothing is open when that is missing: then all in it are.
        place_ = Common::FileDescriptor(::open(path_.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
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
        all.push_back(read(id));
    return all;
}

std::optional<StoredPackage> StoreView::package(const std::string &id) const {
    Common::requireReadable(configuration_->databaseDirectory());
    // It may be a word of the command line: no path leads out of the store.
    const bool isName = !id.empty() && id != "." && id != ".." && id.find('/') == std::string::npos;
    if (!isName || !Common::isThere(DatabasePathResolver(*configuration_).packageDirectory(id)))
        return std::nullopt;
    return read(id);
}

StoredPackage StoreView::read(const std::string &id) const {
    const DatabasePathResolver resolver(*configuration_);
    StoredPackage package;
    package.id = id;
    std::error_code error;
    // The text of the link: what it names may be gone, and that is worth telling.
    package.version = fs::read_symlink(resolver.currentDirectory(id), error).filename().string();
    package.information = informationAt(resolver.descriptorFile(id, PackageSlot::Current));
    package.hasNext = Common::isThere(resolver.nextDirectory(id));
    package.hasPlan = Common::isThere(resolver.currentDirectory(id) / publicationPlanName);
    return package;
}

std::optional<std::string> StoreView::versionOfRecord(const std::string &id) const {
    const DatabasePathResolver resolver(*configuration_);
    if (!Common::exists(resolver.currentDirectory(id)))
        return std::nullopt;
    for (const PackageSlot slot : {PackageSlot::Next, PackageSlot::Current})
        if (const auto information = informationAt(resolver.descriptorFile(id, slot)))
            return information->at("general.version");
    throw Common::Error(Common::ErrorCode::CorruptedInstalledPackage,
                        "Couldn't read velura.pkg file of the " + id + " package");
}

std::optional<std::vector<fs::path>> StoreView::publishedFiles(const std::string &id) const {
    const fs::path list = DatabasePathResolver(*configuration_).symlinkListFile(id, PackageSlot::Current);
    Common::requireReadable(list);
    return Common::isThere(list) ? std::optional(readPathList(list)) : std::nullopt;
}

PackageFiles StoreView::files(const std::string &id) const {
    const DatabasePathResolver resolver(*configuration_);
    const TreeView tree(resolver.packageDirectory(id));
    PublishedFiles published(resolver.packageDirectory(id), resolver.currentDirectory(id), tree);
    PackageFiles files{tree.bytes(), {}};
    for (fs::path &target : publishedFiles(id).value_or(std::vector<fs::path>()))
        if (!published.isThere(target))
            files.missing.push_back(std::move(target));
    return files;
}

std::uintmax_t StoreView::bytes(const std::string &id) const {
    return TreeView(DatabasePathResolver(*configuration_).packageDirectory(id)).bytes();
}

std::vector<RescuedTree> StoreView::rescued() const {
    const fs::path place = OwnDirectory::rescued(*configuration_).path();
    std::vector<RescuedTree> all;
    for (const std::string &name : namesIn(place)) {
        if (name == OwnDirectory::markName)
            continue;
        // The directory's name is no id: a version follows, and a number where there were several.
        const auto information = informationAt(place / name / "velura.pkg");
        all.emplace_back(information ? information->at("general.id") : name, place / name);
    }
    return all;
}

} // namespace Core::KELP
