#pragma once

#include "kelp/core/kelp/registry/registry-record.h"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace Core::KELP {

struct RegistryView {
    std::vector<RegistryRecord> records; ///< In file order.
    std::size_t badLines = 0;            ///< Those that cannot be read.
};

std::filesystem::path registryFile();

/// The registry for somebody who only wants to look: without the lock, which is a file that would be made.
/// The registry is replaced in one step, so that what is read is one state of it. An absent one is empty.
/// Raises ErrorCode::UnauthorizedAccess and ErrorCode::Filesystem.
RegistryView readRegistry();

/// Its good records. Raises as readRegistry() does.
std::vector<RegistryRecord> registryRecords();

/// The file that names a package from before the first step of its removal until after the last.
std::filesystem::path removalFile();

/// The package of which the removal was begun and not completed.
std::optional<std::string> unfinishedRemoval();

/// An installation of which something is left to do: the version may not be current yet, or not on record.
struct UnfinishedInstallation {
    std::string id;
    std::string version;
    RegistryEvent event;
};

/// The file that names a version from before it comes into the store until registry and sources know of it:
/// "ID", "VERSION" and "I" or "U", a line each.
std::filesystem::path installationFile();

/// What that file names; nothing when there is none, or none that was written to the end.
std::optional<UnfinishedInstallation> unfinishedInstallation();

} // namespace Core::KELP
