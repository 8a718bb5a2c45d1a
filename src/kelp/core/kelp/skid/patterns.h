#pragma once

#include "kelp/core/common/places.h"
#include "kelp/core/kelp/package/package-information.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <utility>
#include <vector>

/// The move of an organisation's shared data from directories named after it to directories that also name
/// the developer key (SKID, the subject key identifier).
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

    /// The pairs of source and destination, with the placeholders <orgName>, <skid> and <home>. Those without
    /// <home> begin with the root prefix.
    static std::vector<std::pair<std::string, std::string>> patterns();

    /// The moves for one organisation, key and home directory, one for each pattern.
    static std::vector<MigrationUnit> expand(const std::string &orgName, const std::string &skid,
                                             const std::string &home);

    /// The moves for packages as the store lists them, one vector for each user and package that has an
    /// organisation; none at all when there is no user. What stays: the directories of the keys of all the
    /// organisation's packages, and directories with published files or files of `inRpm`. rpm, and the later
    /// take-over of that application, would miss the latter. An organisation or a key that cannot be the name
    /// of a directory counts as absent. Raises as Common::usersHomes().
    static std::vector<std::vector<MigrationUnit>>
    migrationUnits(const std::vector<PackageInformation> &packages,
                   const std::vector<std::filesystem::path> &inRpm = {},
                   const std::vector<std::filesystem::path> &homes = Common::usersHomes());

    /// Carries the moves out, in order. A failure is logged and ends the walk. Moves that are already done
    /// are passed over.
    static void migrate(const std::vector<MigrationUnit> &units) noexcept;

    /// One move. Does not repeat a completed move, and completes one that a crash interrupted at any step. An
    /// empty directory at `to` counts as none. Below the homes, srv/ and usr/share/common/ it follows no
    /// link: a move that needs one is logged and not done. Raises ErrorCode::Filesystem, and then leaves the
    /// data at `from` or at `to`. A move into a directory below itself may leave it at the neighbour
    /// ".tmp.NAME" of `from`, where the next call finds it.
    ///
    /// When both directories hold something, that is logged and neither is touched. A move into a directory
    /// below itself is an exception: children of `from` that are not in `stays` then move, unless their name
    /// is taken. Not so with an empty `stays`, which cannot tell data from another key's directory.
    static void moveUnit(const std::filesystem::path &from, const std::filesystem::path &to,
                         const std::vector<std::string> &stays = {});

    /// Does what migrationUnits() and migrate() do, for one of the `installed` packages that came to the
    /// store after they had run. It moves entry by entry, also into a new place that holds something.
    /// Existing entries there win, and entries that had to stay are logged. A repeated call does the
    /// remaining moves. Raises as migrationUnits() and flushMoves() do, and after all moves the failure of a
    /// look for a home; moves that fail are logged.
    static void migrateLate(const PackageInformation &package,
                            const std::vector<PackageInformation> &installed,
                            const std::vector<std::filesystem::path> &inRpm = {});

    /// The files below usr/share/common/ that belong to packages in rpm. Raises as Common::Rpm::Transaction
    /// does, and ErrorCode::Internal for records that cannot be read: files that rpm may own must not be
    /// moved from under it. For a database without any record it first calls `ifEmpty`, which raises if that
    /// cannot be right. There must be no other transaction in the process.
    static std::vector<std::filesystem::path> sharedFilesInRpm(const std::function<void()> &ifEmpty);

    /// Flushes all moves. Otherwise the stamp could survive a power cut that undoes the moves, where these
    /// are on other filesystems. Raises ErrorCode::Filesystem, also for a place that could not be looked at:
    /// its moves may be missing.
    static void flushMoves();
};

} // namespace Core::KELP::SKID
