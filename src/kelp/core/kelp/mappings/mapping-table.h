#pragma once

#include "kelp/core/kelp/mappings/mapping.h"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace Core::KELP {

/// Which way a mapping table is read.
enum class Rooted : std::uint32_t {
    No = 0,  ///< From system paths to package paths. Targets begin with "/"; both library directories are
             ///< covered.
    Yes = 1, ///< From package paths to system paths. Targets begin with the root prefix.
};

/// The mapping rules of one package. The order of the rows decides when a path is looked up. `keyId` is the
/// developer's key id. The row of the organisation's shared data needs the organisation's name and the key
/// id. The row of the application's shared data needs only the two names. An empty text counts as absent.
std::vector<Mapping> buildMappings(const std::string &id, const std::string &keyId,
                                   const std::optional<std::string> &orgName,
                                   const std::optional<std::string> &appName, Rooted rooted);

/// Translates a system path to a path in the package's tree, by the first row of `mappings` that matches. A
/// path that no row matches only loses its leading "/". The result is relative, and keeps the ".." components
/// of `systemPath`.
std::filesystem::path packagePathOf(const std::string &systemPath, const std::vector<Mapping> &mappings);

} // namespace Core::KELP
