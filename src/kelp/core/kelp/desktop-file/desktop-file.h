#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace AppManifest {
class ManifestEntry;
}

namespace Core::KELP {

/// A thousand times what desktop files in all languages have.
constexpr std::uintmax_t maximumDesktopFileSize = std::uintmax_t(32) << 20;

/// The only way to the platform's reader of desktop files, for which it is no matter how much time and memory
/// a file takes. Empty for what that one refuses, and for a file that it is never given: one that is no
/// regular file, is larger than `maximumDesktopFileSize`, names more than a million groups and keys, or holds
/// dozens of names made to have one hash.
std::optional<AppManifest::ManifestEntry> readDesktopFile(const std::string &path);

} // namespace Core::KELP
