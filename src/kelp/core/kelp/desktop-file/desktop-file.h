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

/// The only way to the platform's reader of desktop files, which bounds neither time nor memory. Empty when
/// that reader refuses the file, when there is no regular file, and when readDesktopText() refuses its text.
/// Raises ErrorCode::Filesystem "Couldn't read desktop file: PATH" for a file that exists and cannot be read.
std::optional<AppManifest::ManifestEntry> readDesktopFile(const std::string &path);

/// The same for a text that lies in no file. `name` stands in for the file's name.
std::optional<AppManifest::ManifestEntry> parseDesktopText(const std::string &text, const std::string &name);

/// The content of a desktop file, for another reader. Empty where there is no regular file, and for a text
/// that would overload a reader. Such a text is larger than `maximumDesktopFileSize`, or has more than fifty
/// thousand groups and keys, lists of more than two hundred thousand elements, or dozens of names made to
/// have one hash. Raises as readDesktopFile() does.
std::optional<std::string> readDesktopText(const std::string &path);

} // namespace Core::KELP
