#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <string>

namespace Core::KELP {

/// The values of a version's descriptor, by section and key: "general.id", "certificate.id" and so on.
/// docs/formats.md lists the keys.
using PackageInformation = std::map<std::string, std::string>;

/// The value of a key, if it has one.
inline std::optional<std::string> valueOf(const PackageInformation &information, const std::string &key) {
    const auto found = information.find(key);
    return found == information.end() ? std::nullopt : std::optional(found->second);
}

/// A version that is ready to enter the store.
struct PackageStaging {
    std::filesystem::path path; ///< The directory that holds the complete tree of the version.
    std::string id;
    std::string version;
    std::optional<std::string> orgName;
    std::optional<std::string> appName;
    bool hasContentsList = false; ///< Otherwise a file of its name is the package's, and is dropped.
};

/// A staged version with the values that its descriptor gets beside the staging's own.
struct PackageForMigration : PackageStaging {
    PackageInformation extras;
};

} // namespace Core::KELP
