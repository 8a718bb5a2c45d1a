#pragma once

#include <compare>
#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>

struct stat;

namespace Common {

/// Tells a file from a later one at the same path. A link is a file of its own.
struct FileIdentity {
    std::uint64_t device = 0;
    std::uint64_t inode = 0;
    std::uint64_t size = 0;
    std::int64_t modified = 0; ///< Nanoseconds since the epoch.

    auto operator<=>(const FileIdentity &) const = default;
};

FileIdentity identityOf(const struct stat &status);

/// The file at `path`; links are not followed. Nothing when there is none, or when the look fails.
std::optional<FileIdentity> identityAt(const std::filesystem::path &path);

/// Compares identities that were noted at an earlier start with those of today. Devices get new numbers at
/// each boot: two files are on one device if the same number was noted for both.
class IdentityComparison {
public:
    bool isSame(const FileIdentity &noted, const FileIdentity &now);

private:
    std::map<std::uint64_t, std::uint64_t> devices_; ///< From the noted number to that of today.
};

} // namespace Common
