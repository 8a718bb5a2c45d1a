#pragma once

#include <filesystem>

namespace Core {

/// Where the package manager keeps its things. Every path already stands below the root prefix; none is
/// checked to exist. The references live as long as the object.
class IConfiguration {
public:
    virtual ~IConfiguration() = default;

    /// The root of the package store.
    virtual const std::filesystem::path &databaseDirectory() const = 0;
    /// Scratch space for store operations.
    virtual const std::filesystem::path &tempDirectory() const = 0;
    /// The directory of hook scripts.
    virtual const std::filesystem::path &hookDirectory() const = 0;
    /// The SQLite file of the trusted sources.
    virtual const std::filesystem::path &trustedSourcesDatabasePath() const = 0;
};

} // namespace Core
