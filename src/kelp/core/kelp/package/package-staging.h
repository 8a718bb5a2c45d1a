#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace Core::KELP {

/// A version that is ready to enter the store.
struct PackageStaging {
    std::filesystem::path path; ///< The directory that holds the complete tree of the version.
    std::string id;
    std::string version;
    std::optional<std::string> orgName;
    std::optional<std::string> appName;
};

} // namespace Core::KELP
