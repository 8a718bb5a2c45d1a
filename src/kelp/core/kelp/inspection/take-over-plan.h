#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace Core {
class IConfiguration;
}

namespace Core::KELP {

/// The first migration's plan for one application.
struct PlannedTakeOver {
    std::string id;
    std::string version;
    bool isMoved = false;
    std::string reason;                 ///< Why it stays, or another remark; may be empty.
    std::optional<std::uint64_t> bytes; ///< Of its copy, at the least; nothing for one that was not surveyed.
};

struct TakeOverPlan {
    std::vector<PlannedTakeOver> applications; ///< By id.
    std::uint64_t needed = 0; ///< Bytes that have to be free for all whom nothing else keeps.
    std::uint64_t room = 0;   ///< Bytes that are.
    bool isDamaged = false;   ///< rpm has unreadable records.
    bool isDone = false;      ///< The migration has left its stamp, and does not run again.
};

/// What the first migration would do if it ran now, even if it has run before. The plan uses the migration's
/// own criteria, and changes nothing. It cannot foresee an unreadable file, or a disk that others fill: those
/// show when the files are copied. An obstacle that stops the whole migration, such as a foreign temporary
/// directory, is the reason of each application that it keeps in rpm. One whose take-over has begun, or that
/// the store has already, counts as moved even then. The plan leaves out two obstacles that count only with a
/// journal: other disks than the journal's, and unreadable records in rpm. Raises as the functions of
/// records-view.h, rpm-view.h and store-view.h do. Raises ErrorCode::Filesystem when there is no signature
/// database, or a filesystem or directory cannot be looked at.
TakeOverPlan planTakeOver(const IConfiguration &configuration);

} // namespace Core::KELP
