#include "kelp/core/kelp/desktop-file/desktop-file.h"

#include "kelp/core/kelp/desktop-file/name-flood.h"

#include "platform/app-manifest/manifest-entry.h"

#include <filesystem>
#include <fstream>
#include <system_error>

namespace Core::KELP {

namespace {

/// Looks before it opens, as a pipe would be waited for.
std::optional<std::string> readBounded(const std::string &path) {
    std::error_code error;
    if (!std::filesystem::is_regular_file(path, error))
        return std::nullopt;
    const std::uintmax_t size = std::filesystem::file_size(path, error);
    if (error || size > maximumDesktopFileSize)
        return std::nullopt;
    std::string text(size, '\0');
    std::ifstream file(path, std::ios::binary);
    if (!file.read(text.data(), static_cast<std::streamsize>(size)))
        return std::nullopt;
    return text;
}

/// Before the reader has it: what its tables cost is spent while it reads.
bool isBearable(const std::string &path) {
    const auto text = readBounded(path);
    return text && !isNameFlood(*text);
}

} // namespace

std::optional<AppManifest::ManifestEntry> readDesktopFile(const std::string &path) {
    return isBearable(path) ? AppManifest::ManifestEntry::fromFilename(path) : std::nullopt;
}

} // namespace Core::KELP
