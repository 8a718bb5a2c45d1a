#pragma once

#include "kelp/core/kelp/inspection/recorded-packages.h"
#include "kelp/core/kelp/package/package-information.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace Core {
class IConfiguration;
}

namespace Core::KELP {

/// One package in the store.
struct StoredPackage {
    std::string id;
    /// The version that the link `current` names, which may be gone. Empty without the link, or if it leads
    /// to anything but a version of this package.
    std::string version;
    /// Of the current version; nothing when it is unreadable, or that of another package or version.
    std::optional<PackageInformation> information;
    bool isLink = false; ///< The machine's owner has moved it: it works, and must not be changed.
    /// One of its links is foreign and may lead anywhere, so the list of published files may be out of reach.
    bool isObstructed = false;
    std::string failure;  ///< Why it could not be looked at; then little else is known of it.
    bool hasNext = false; ///< An installation or update was prepared and not completed.
    bool hasPlan = false; ///< A publication was begun and not completed.

    /// A value of the descriptor, or "".
    std::string value(const char *key) const;
};

/// The result of a look at all files of a package.
struct PackageFiles {
    std::uintmax_t bytes = 0;                   ///< Of the package's directory.
    std::vector<std::filesystem::path> missing; ///< Listed files that are not there, or links to a lost file.
    bool isListed = true;                       ///< Otherwise nothing tells all that is published.
};

/// The files of a package that were kept because they could not be published: its id, and where they are.
using RescuedTree = std::pair<std::string, std::filesystem::path>;

/// The package store, read only: recovers, removes and makes nothing.
class StoreView {
public:
    explicit StoreView(const IConfiguration &configuration) :
        configuration_(&configuration), records_(configuration) {}

    /// All packages by id, also those whose current version is gone. A real directory is a package if a
    /// descriptor in it names the package, or if the records (RecordedPackages) have it as installed; a
    /// removed package counts while entries of its own are left. A link is a package if the records know its
    /// name. If a look at a package fails, or the look needs records that cannot be read, the package counts,
    /// and its `failure` says why. If the store's directory is missing, there are no packages. Raises
    /// ErrorCode::UnauthorizedAccess when only root can look, and ErrorCode::Filesystem when the store's
    /// directory cannot be read.
    std::vector<StoredPackage> packages() const;

    /// The entries of the store's directory that are no packages, without those that tools and filesystems
    /// keep: names with a leading dot, and lost+found. Raises as packages() does.
    std::vector<std::filesystem::path> foreign() const;

    /// One package, or nothing when the store has none of the name. Raises ErrorCode::UnauthorizedAccess.
    std::optional<StoredPackage> package(const std::string &id) const;

    /// The version that IDatabase::packageInfo() would tell; removes nothing. Raises
    /// ErrorCode::CorruptedInstalledPackage if neither `next` nor `current` has a readable descriptor of its
    /// own. Nothing for a package that is not installed.
    std::optional<std::string> versionOfRecord(const std::string &id) const;

    /// The records, read once for this view.
    const RecordedPackages &records() const { return records_; }

    /// The published files by the list of the current version; nothing when there is no list. Raises
    /// ErrorCode::UnauthorizedAccess or ErrorCode::Filesystem when it cannot be read.
    std::optional<std::vector<std::string>> publishedFiles(const std::string &id) const;

    /// The same of the directories that were made for them.
    std::optional<std::vector<std::string>> madeDirectories(const std::string &id) const;

    /// Raises as Common::requireNoMount() when something is mounted in a version of the package. Other
    /// entries of the package's directory are not looked at: nobody removes them.
    void requireNoMountIn(const std::string &id) const;

    /// Looks at the files of a package, in the store and in the system. A package without a list has no
    /// missing files. Raises as publishedFiles() does, and ErrorCode::Filesystem when one look fails.
    PackageFiles files(const std::string &id) const;

    /// The bytes in the files of the package's directory. Raises as TreeView does.
    std::uintmax_t bytes(const std::string &id) const;

    /// Raises ErrorCode::UnauthorizedAccess or ErrorCode::Filesystem when a look at one fails.
    std::vector<RescuedTree> rescued() const;

private:
    std::optional<StoredPackage> read(const std::string &id) const;
    bool isPackage(const std::string &id) const;
    void addDetails(StoredPackage &package) const;
    std::optional<std::vector<std::string>> paths(const std::string &id,
                                                  const std::filesystem::path &list) const;

    const IConfiguration *configuration_;
    RecordedPackages records_;
};

} // namespace Core::KELP
