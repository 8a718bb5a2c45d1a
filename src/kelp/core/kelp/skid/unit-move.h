#pragma once

#include "kelp/core/common/files/directory.h"

#include <filesystem>
#include <string>
#include <vector>

namespace Core::KELP::SKID {

/// What to do when the old and the new directory both hold something.
enum class Clash {
    IsReported, ///< Nothing: it is logged.
    IsMerged,   ///< Move entry by entry what the new one does not have, and log the rest.
};

/// The move of one directory, in a place where others can write. The base of the place (a home, or srv/ or
/// usr/share/common/ below the root prefix) is trusted as it is. Below the base the move follows no link, and
/// replaces nothing but an empty directory. It never leaves the base.
///
/// Each entry moves by one rename. After a kill at any step, another move with the same arguments completes
/// it: the directories show how far it came. One case is not completed: `stays` is empty, and `to` was an
/// empty directory below `from`.
class UnitMove {
public:
    /// `stays` names the children of `from` that must not move into a directory below `from`.
    UnitMove(const std::filesystem::path &from, const std::filesystem::path &to,
             const std::vector<std::string> &stays, Clash clash);

    /// Raises std::system_error: a refusal (Common::Directory::isRefusal) where a link is in the way, or a
    /// failure of the system. Each entry is then at its old or its new place, or set aside.
    void run() const;

private:
    void moveBeside(const Common::Directory &base) const;
    void moveInto(const Common::Directory &base) const;
    void finish(const Common::Directory &holder, const Common::Directory &aside) const;
    void moveChildren(const Common::Directory &holder) const;
    std::vector<std::string> movable(const Common::Directory &source) const;

    std::filesystem::path base_;
    std::filesystem::path from_; ///< Below the base, as `to_`.
    std::filesystem::path to_;
    const std::vector<std::string> &stays_;
    Clash clash_;
};

} // namespace Core::KELP::SKID
