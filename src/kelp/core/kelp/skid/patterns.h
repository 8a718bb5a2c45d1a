#pragma once

#include "kelp/core/kelp/package-information.h"

#include <cstdint>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

/// The move of an organisation's shared data from directories that are named after it to directories that
/// name the developer key (SKID, the subject key identifier) as well.
namespace Core::KELP::SKID {

class Patterns {
public:
    /// One move, from one directory to another; both paths end in "/".
    struct MigrationUnit {
        std::string from;
        std::string to;
        std::int32_t kind; ///< 1 for the data below srv/, 0 for all other.
    };

    /// The pairs of source and destination, with the places <orgName>, <skid> and <home>. Those without
    /// <home> begin with the root prefix.
    static std::vector<std::pair<std::string, std::string>> patterns();

    /// The moves for one organisation, key and home directory, one for each pattern.
    static std::vector<MigrationUnit> expand(const std::string &orgName, const std::string &skid,
                                             const std::string &home);

    /// The moves for packages as the store lists them, one vector for each user and package that has an
    /// organisation; none at all when there is no user. Raises ErrorCode::Internal when the group database
    /// does not answer.
    static std::vector<std::vector<MigrationUnit>>
    migrationUnits(const std::vector<PackageInformation> &packages);

    /// Carries the moves out, in order; one that fails is logged and ends the walk. Those that were done
    /// before are passed over.
    static void migrate(const std::vector<MigrationUnit> &units) noexcept;

    /// One move. What was done is not done again, and what a crash interrupted is completed. When both
    /// directories exist, neither is touched, and that is logged. Raises ErrorCode::Filesystem, and then
    /// leaves the data at `from`, at `to` or, of a move into a directory below itself, at the neighbour
    /// ".tmp.NAME" of `from`, where the next call finds it.
    static void moveUnit(const std::filesystem::path &from, const std::filesystem::path &to);
};

} // namespace Core::KELP::SKID
