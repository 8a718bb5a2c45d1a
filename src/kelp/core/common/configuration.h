#pragma once

#include "kelp/core/common/i-configuration.h"

#include <string>
#include <vector>

namespace Core {

/// Possible mistakes in etc/kelp/kelp.conf below the root prefix, a text each: keys without effect, and a
/// store at an unusual place. None for a file that counts as empty for Configuration.
std::vector<std::string> configurationRemarks();

/// The configuration as an ini file gives it:
///
///     [kelp]
///     database_directory = /opt/app
///     temp_directory = /opt/kelp/tmp
///     hook_directory = /usr/share/kelp/hooks.d
///     [trusted_sources]
///     database_path = /var/lib/trusted-sources/db.sqlite3
///
/// These values are the defaults, also for single keys that the file lacks. Each value, absolute or relative,
/// is placed below the root prefix of the time of loading (rootPath()). Unknown sections and keys are
/// ignored. A file that is missing, cannot be read, or has a malformed line counts as empty. Two warnings say
/// so, except for a missing file with Missing::IsFine.
class Configuration final : public IConfiguration {
public:
    enum class Missing {
        IsReported,
        IsFine ///< A missing file is not logged: for a person at a terminal, who knows.
    };

    /// Loads etc/kelp/kelp.conf below the root prefix.
    Configuration() : Configuration(Missing::IsReported) {}
    explicit Configuration(Missing missing);
    explicit Configuration(const std::filesystem::path &file, Missing missing = Missing::IsReported);

    /// The process-wide object, loaded at the first call and kept until exit.
    static Configuration &instance();

    const std::filesystem::path &databaseDirectory() const override { return databaseDirectory_; }
    const std::filesystem::path &tempDirectory() const override { return tempDirectory_; }
    const std::filesystem::path &hookDirectory() const override { return hookDirectory_; }
    const std::filesystem::path &trustedSourcesDatabasePath() const override {
        return trustedSourcesDatabasePath_;
    }

private:
    std::filesystem::path databaseDirectory_;
    std::filesystem::path tempDirectory_;
    std::filesystem::path hookDirectory_;
    std::filesystem::path trustedSourcesDatabasePath_;
};

} // namespace Core
