#pragma once

#include "kelp/core/kelp/package/package-information.h"

#include <cstdint>
#include <filesystem>
#include <functional>
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
        /// The children of `from` that have their place there and never move.
        std::vector<std::string> stays = {};
    };

    /// The pairs of source and destination, with the places <orgName>, <skid> and <home>. Those without
    /// <home> begin with the root prefix.
    static std::vector<std::pair<std::string, std::string>> patterns();

    /// The moves for one organisation, key and home directory, one for each pattern.
    static std::vector<MigrationUnit> expand(const std::string &orgName, const std::string &skid,
                                             const std::string &home);

    /// The moves for packages as the store lists them, one vector for each user and package that has an
    /// organisation; none at all when there is no user. What stays: the directories of the keys of all the
    /// organisation's packages, and what holds published files or one of `inRpm`, which rpm would miss, as
    /// would the application that is still to be taken over with it. An organisation or a key that cannot be
    /// the name of a directory counts as absent. Raises ErrorCode::Internal when the group database does not
    /// answer.
    static std::vector<std::vector<MigrationUnit>>
    migrationUnits(const std::vector<PackageInformation> &packages,
                   const std::vector<std::filesystem::path> &inRpm = {});

    /// Carries the moves out, in order; one that fails is logged and ends the walk. Those that were done
    /// before are passed over.
    static void migrate(const std::vector<MigrationUnit> &units) noexcept;

    /// One move. What was done is not done again, and what a crash interrupted is completed, wherever it was;
    /// an empty directory at `to` counts as none. Below the homes, srv/ and usr/share/common/ no link is
    /// followed: a move that would have to is logged and not done. Raises ErrorCode::Filesystem, and then
    /// leaves the data at `from`, at `to` or, of a move into a directory below itself, at the neighbour
    /// ".tmp.NAME" of `from`, where the next call finds it.
    ///
    /// When both directories hold something, neither is touched, and that is logged. Of a move into a
    /// directory below itself, the children of `from` that are not in `stays` are moved even then, where
    /// nothing of their name is; with an empty `stays`, which cannot tell data from another key's directory,
    /// that is not done.
    static void moveUnit(const std::filesystem::path &from, const std::filesystem::path &to,
                         const std::vector<std::string> &stays = {});

    /// Does for one package, of those that are `installed`, what migrationUnits() and migrate() do for all:
    /// for one that came to the store after they had run. What lies at the old place is moved to the new one
    /// also where that holds something already, entry by entry; what exists there wins, and what had to stay
    /// is logged. Done again, it does what is left to do. Raises as migrationUnits() and flushMoves() do;
    /// moves that fail are logged.
    static void migrateLate(const PackageInformation &package,
                            const std::vector<PackageInformation> &installed,
                            const std::vector<std::filesystem::path> &inRpm = {});

    /// The files below usr/share/common/ that belong to packages in rpm. Raises as Common::Rpm::Transaction
    /// does, and ErrorCode::Internal for records that cannot be read: what rpm does not tell must not be
    /// moved from under it. For a database without any record `ifEmpty` is asked first, which raises for one
    /// that cannot be right. There must be no other transaction in the process.
    static std::vector<std::filesystem::path> sharedFilesInRpm(const std::function<void()> &ifEmpty);

    /// Has all moves on disk: on filesystems of their own, what says that they were done could survive a
    /// power cut that they do not. Raises ErrorCode::Filesystem.
    static void flushMoves();
};

} // namespace Core::KELP::SKID
