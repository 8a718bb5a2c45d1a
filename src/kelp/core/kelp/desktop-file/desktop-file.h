#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace AppManifest {
class ManifestEntry;
}

namespace Core::KELP {

/// Fifty times what desktop files in all languages have. Readers keep several copies of a text.
constexpr std::uintmax_t maximumDesktopFileSize = std::uintmax_t(2) << 20;

/// The only way to the platform's reader of desktop files, for which it is no matter how much time and memory
/// a file takes. Empty for what that one refuses, and for what it is never given: no file at all, what is no
/// regular file, and a text that readDesktopText() refuses. Raises ErrorCode::Filesystem "Couldn't read
/// desktop file: PATH" for one that is there and cannot be read.
std::optional<AppManifest::ManifestEntry> readDesktopFile(const std::string &path);

/// The same of a text that lies in no file, which `name` stands for where that cannot be had.
std::optional<AppManifest::ManifestEntry> parseDesktopText(const std::string &text, const std::string &name);

/// The content of a desktop file, for another reader. Empty where there is no regular file, and for a text
/// that no reader can bear: one that is larger than `maximumDesktopFileSize`, names more than fifty
/// thousand groups and keys, has lists of more than two hundred thousand elements, or holds dozens of names
/// made to have one hash. Raises as readDesktopFile() does.
std::optional<std::string> readDesktopText(const std::string &path);

} // namespace Core::KELP
