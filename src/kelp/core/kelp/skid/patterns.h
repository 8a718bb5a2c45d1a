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
        /// The children of `from` that do not move into a `to` below `from`. Counts for no other move.
        std::vector<std::string> stays = {};
    };

    /// The pairs of source and destination, with the placeholders <orgName>, <skid> and <home>. Those without
    /// <home> begin with the root prefix.
    static std::vector<std::pair<std::string, std::string>> patterns();

    /// The moves for one organisation, key and home directory, one for each pattern.
    static std::vector<MigrationUnit> expand(const std::string &orgName, const std::string &skid,
                                             const std::string &home);

    /// The moves for packages as the store lists them: one vector for each pair of a user and a package that
    /// has an organisation and a key. Without any user there are none, not even below srv/. An organisation
    /// or a key that cannot be the name of a directory counts as absent.
    ///
    /// In the organisation's directory below usr/share/common, some entries stay. Directories named after a
    /// key of the organisation's packages stay, since one key's data must not move into another's. Entries
    /// that are or hold published files, or files of `inRpm`, stay where the store, rpm and a later take-over
    /// look for them. Raises as Common::usersHomes(), and ErrorCode::Filesystem when a list of published
    /// files cannot be read.
    static std::vector<std::vector<MigrationUnit>>
    migrationUnits(const std::vector<PackageInformation> &packages,
                   const std::vector<std::filesystem::path> &inRpm = {},
                   const std::vector<std::filesystem::path> &homes = Common::usersHomes());

    /// Carries the moves out, in order, by moveUnit(). A failure that it raises is logged and ends the walk.
    /// Moves that are already done are passed over.
    static void migrate(const std::vector<MigrationUnit> &units) noexcept;

    /// Moves one directory. A completed move is not repeated, and one that a crash interrupted is completed.
    /// An empty directory at `to` counts as none. Below the homes, srv/ and usr/share/common/ it follows no
    /// link: if a link is in the way, that is logged and nothing more is moved. Raises ErrorCode::Filesystem
    /// for any other failure but that of a single child (below). Each entry is then at `from`, at `to`, or
    /// set aside. A home, or another of these places, at which the look fails is logged, and counts as
    /// absent.
    ///
    /// If `to` is not below `from`, and holds something while `from` exists, that is logged and neither is
    /// touched.
    ///
    /// If `to` is below `from`, the children of `from` move, except those in `stays`. If no child stays and
    /// `to` does not exist, not even empty, they are set aside first, in ".tmp.NAME" beside `from`. A failure
    /// may leave them there, and the next call goes on from there. If `to` holds something and `stays` is
    /// empty, nothing moves: the move counts as done, even one into an empty `to` that a crash interrupted.
    /// If `to` holds something and `stays` is not empty, a child directory is merged with the directory of
    /// its name in `to`. Any other child whose name is taken in `to`, or that cannot be moved, stays and is
    /// logged.
    static void moveUnit(const std::filesystem::path &from, const std::filesystem::path &to,
                         const std::vector<std::string> &stays = {});

    /// Does for one package what migrationUnits() and migrate() do for all. The package comes to the store
    /// after they have run; it is one of the `installed`. If a new directory holds something already, the
    /// entries of the old one move one by one. Two directories of one name are merged. Any other entry whose
    /// name is taken stays, and is logged. A failure is logged, and a repeated call does the rest. Unless a
    /// link or a single entry is at fault, the failure also ends the moves for its user. Raises as
    /// migrationUnits() and flushMoves() do. If the look for a home fails, moves the data of the other users
    /// first, and then raises that failure.
    static void migrateLate(const PackageInformation &package,
                            const std::vector<PackageInformation> &installed,
                            const std::vector<std::filesystem::path> &inRpm = {});

    /// The files below usr/share/common/ that belong to packages in rpm: a migration must not move them away
    /// from rpm. Raises as Common::Rpm::Transaction and InstalledFiles do, and ErrorCode::Internal if there
    /// are records that cannot be read, since those may own files too. If the database has no record at all,
    /// calls `ifEmpty`, which raises if an empty database cannot be this machine's. The process must have no
    /// other transaction.
    static std::vector<std::filesystem::path> sharedFilesInRpm(const std::function<void()> &ifEmpty);

    /// Flushes the filesystems of srv/, usr/share/common/ and the users' homes. Without this flush a power
    /// cut could undo moves there, while the stamp survives on another filesystem. Raises
    /// ErrorCode::Filesystem when one of these places cannot be flushed, or not be looked at, and as
    /// Common::usersHomes() does.
    static void flushMoves();

    /// Raises ErrorCode::Filesystem "PATH is a link that leads nowhere" if srv/ or usr/share/common/ is one:
    /// the disk with the data to move may not be mounted. Raises as Common::lookFor() when a look fails.
    static void requirePlaces();
};

} // namespace Core::KELP::SKID
