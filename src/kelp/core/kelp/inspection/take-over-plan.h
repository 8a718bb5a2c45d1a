#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace Core {
class IConfiguration;
}

namespace Core::KELP {

/// What the first migration would do with one application.
struct PlannedTakeOver {
    std::string id;
    std::string version;
    bool isMoved = false;
    std::string reason;                 ///< Why it stays, or what else there is to say; empty when nothing.
    std::optional<std::uint64_t> bytes; ///< That its copy takes, where one would be made.
};

struct TakeOverPlan {
    std::vector<PlannedTakeOver> applications; ///< By id.
    std::uint64_t needed = 0;                  ///< Bytes that have to be free for the largest that moves.
    std::uint64_t room = 0;                    ///< Bytes that are.
    bool isDamaged = false;                    ///< rpm has records that nobody can read.
    bool isDone = false;                       ///< The migration has left its stamp, and does not run again.
};

/// What the first migration would do if it ran now, whether or not it has been carried out: decided by what
/// it goes by itself, without a change to anything. That a file cannot be read, or that the disk fills up,
/// shows only when the files are copied. Raises what would keep it from going on at all, and as the views do.
TakeOverPlan planTakeOver(const IConfiguration &configuration);

} // namespace Core::KELP
