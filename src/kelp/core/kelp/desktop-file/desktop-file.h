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

/// Reads a desktop file with the platform's reader. That reader bounds neither time nor memory, so all
/// reading goes through this function and parseDesktopText(). Returns nothing when the reader refuses the
/// file, or when readDesktopText() returns nothing. Raises ErrorCode::Filesystem "Couldn't read desktop file:
/// PATH" when an entry that may exist cannot be opened, as a socket, or when its read fails.
std::optional<AppManifest::ManifestEntry> readDesktopFile(const std::string &path);

/// The same for a text that lies in no file. `name` stands in for the file's name.
std::optional<AppManifest::ManifestEntry> parseDesktopText(const std::string &text, const std::string &name);

/// The content of a desktop file, for other readers than the platform's. Returns nothing if its directory has
/// no such entry, if it opens and is not regular, or if its text would overload a reader. That is a text
/// larger than `maximumDesktopFileSize`, or one with more than fifty thousand groups and keys, more than two
/// hundred thousand ";", which end the elements of lists, or more than 64 different names with the same hash
/// of GLib's. Raises as readDesktopFile() does.
std::optional<std::string> readDesktopText(const std::string &path);

} // namespace Core::KELP
