#pragma once

#include "kelp/core/trusted-sources/i-database.h"

#include <map>
#include <string>
#include <vector>

namespace Core {
class IConfiguration;
}

namespace Core::KELP {

/// The content of the trusted-sources database, read only: the file is neither made nor brought to another
/// version.
struct SourcesView {
    std::vector<TrustedSources::Source> sources; ///< By descending subject.
    std::map<std::string, std::string> sourceOf; ///< The key id of a package's source by the package's id.
    bool missingSourceAllowed = false;
    bool webPwaSourceAllowed = false;

    /// Reads the database. For a missing file returns neither sources nor bindings, and allows neither
    /// packages without a source nor web applications. Raises ErrorCode::UnauthorizedAccess for a file that
    /// only root can read. Raises with the text "Couldn't read the trusted sources database PATH: REASON":
    /// ErrorCode::Internal for a file that is no such database, ErrorCode::Filesystem when the system cannot
    /// read it.
    static SourcesView read(const IConfiguration &configuration);
};

} // namespace Core::KELP
