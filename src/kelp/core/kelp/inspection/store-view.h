#pragma once

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

/// What lies in the store for one package.
struct StoredPackage {
    std::string id;
    std::string version;                           ///< That the link `current` names; empty without one.
    std::optional<PackageInformation> information; ///< Of the current version; nothing when it is unreadable.
    bool hasNext = false;                          ///< An update was prepared and not completed.
    bool hasPlan = false;                          ///< A publication was begun and not completed.

    /// A value of the descriptor, or "".
    std::string value(const char *key) const;
};

/// What a look at all files of a package tells.
struct PackageFiles {
    std::uintmax_t bytes = 0;                   ///< Of the package's directory.
    std::vector<std::filesystem::path> missing; ///< Published files that are not there, or lead to nothing.
};

/// The files of a package that were kept because they could not be published: its id, and where they are.
using RescuedTree = std::pair<std::string, std::filesystem::path>;

/// The package store for somebody who only wants to look: nothing is recovered, removed or made, and nothing
/// is logged.
class StoreView {
public:
    explicit StoreView(const IConfiguration &configuration) : configuration_(&configuration) {}

    /// All packages by id, those whose current version is gone included. Raises ErrorCode::UnauthorizedAccess
    /// and ErrorCode::Filesystem when the store's directory cannot be read; one that does not exist is empty.
    std::vector<StoredPackage> packages() const;

    /// One package, or nothing when the store has no directory of the name.
    std::optional<StoredPackage> package(const std::string &id) const;

    /// The version that IDatabase::packageInfo() would tell, without the removal of what it cannot read: that
    /// raises ErrorCode::CorruptedInstalledPackage. Nothing for a package that is not installed.
    std::optional<std::string> versionOfRecord(const std::string &id) const;

    /// The files that the list of the current version says are published; nothing when there is no list.
    std::optional<std::vector<std::filesystem::path>> publishedFiles(const std::string &id) const;

    /// Looks at the files of a package, in the store and in the system. Nothing is missing of a package
    /// without a list.
    PackageFiles files(const std::string &id) const;

    /// What the files of the package's directory hold, in bytes.
    std::uintmax_t bytes(const std::string &id) const;

    std::vector<RescuedTree> rescued() const;

private:
    StoredPackage read(const std::string &id) const;

    const IConfiguration *configuration_;
};

} // namespace Core::KELP
