#pragma once

#include "kelp/core/kelp/registry/registry-record.h"
#include "kelp/core/kelp/registry/registry.h"
#include "kelp/core/kelp/take-over/take-over-journal.h"

#include <filesystem>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace Core {
class IConfiguration;
}

namespace Core::KELP {

/// The packages on their way from rpm into the store. Changes nothing. Raises ErrorCode::UnauthorizedAccess,
/// and as TakeOverJournal::read() does.
std::vector<JournalEntry> pendingTakeOvers(const IConfiguration &configuration);

/// Their ids. Their files in the store may be the only copy: only the launcher may touch them.
std::set<std::string> idsOnTheirWay(const IConfiguration &configuration);

struct RegistryView {
    std::vector<RegistryRecord> records; ///< In file order.
    std::size_t badLines = 0;            ///< Those that cannot be read.
};

/// Reads the registry without its lock: taking the lock could make the lock file, and a look must make
/// nothing. The registry is replaced in one step, so a reader sees one state of it. A missing registry counts
/// as empty. Raises ErrorCode::UnauthorizedAccess when only root can read it, and ErrorCode::Filesystem when
/// the read fails.
RegistryView readRegistry();

/// Its good records. Raises as readRegistry() does.
std::vector<RegistryRecord> registryRecords();

/// An installation that is not complete: the version may not be current yet, or not on record.
struct UnfinishedInstallation {
    std::string id;
    std::string version;
    RegistryEvent event;
};

/// The note of an installation: "ID", "VERSION" and "I" or "U", a line each. It exists from before the
/// version comes into the store until registry and sources have it, or the store has refused it.
std::filesystem::path installationFile();

/// The installation that the file names; nothing when the file is missing or torn.
std::optional<UnfinishedInstallation> unfinishedInstallation();

} // namespace Core::KELP
