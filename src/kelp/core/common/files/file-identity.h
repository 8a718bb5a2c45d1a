#pragma once

#include <compare>
#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>

struct stat;

namespace Common {

/// What tells one file from another that stands at its place later: the link itself where it is one.
struct FileIdentity {
    std::uint64_t device = 0;
    std::uint64_t inode = 0;
    std::uint64_t size = 0;
    std::int64_t modified = 0; ///< Nanoseconds since the epoch.

    auto operator<=>(const FileIdentity &) const = default;
};

FileIdentity identityOf(const struct stat &status);

/// The file at `path`; links are not followed. Nothing when there is none, or when it cannot be asked for.
std::optional<FileIdentity> identityAt(const std::filesystem::path &path);

/// The same of the file that an open of `path` finds: links are followed.
std::optional<FileIdentity> identityBehind(const std::filesystem::path &path);

/// Compares identities that were noted at an earlier start with those of today. The numbers of devices are
/// given out anew at each boot, so that they count as the same where the same number was noted.
class IdentityComparison {
public:
    bool isSame(const FileIdentity &noted, const FileIdentity &now);

private:
    std::map<std::uint64_t, std::uint64_t> devices_; ///< From the noted number to that of today.
};

} // namespace Common
