#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>

namespace Core::KELP {

/// Whether the machine lets files be published at their targets now, regardless of who owns a file there.
/// Asked before a package is taken over or installed. Remembers what it found about up to 256 directories, so
/// many targets cost little; a later change of a remembered directory is not seen.
class TargetPlaces {
public:
    /// Why nothing can be published at `target`, or empty. The target's directory, or the nearest existing
    /// one above, may be read-only, immutable, append-only, no directory, unreachable, or reached by a link
    /// that others than root can exchange. Or the target itself is a mount point, immutable or append-only.
    /// Raises ErrorCode::Filesystem when any other look fails. A caller that has looked at the target passes
    /// its `attributes`, as of statx(2), to save a second look.
    std::string obstacle(const std::filesystem::path &target,
                         std::optional<std::uint32_t> attributes = std::nullopt);

    /// Why no name can come to a directory or leave it, or empty: that part of obstacle().
    const std::string &obstacleIn(const std::filesystem::path &directory) {
        return place(directory).obstacle;
    }

    /// Why the targets given to obstacle() do not fit on their filesystems, as links; or empty. Forgets those
    /// targets. Raises as obstacle().
    std::string shortage();

private:
    struct Place {
        std::string existing; ///< The directory, or the nearest one above that is there.
        std::string obstacle;
    };

    const Place &place(const std::filesystem::path &directory);

    std::map<std::string, Place> places_;
    std::map<std::string, std::uint64_t> wanted_; ///< Targets by the directory that is there.
};

} // namespace Core::KELP
