#pragma once

#include "kelp/core/kelp/inspection/sources-view.h"
#include "kelp/core/kelp/inspection/unread.h"

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace Core {
class IConfiguration;
}

namespace Core::KELP {

struct MigrationStamp;

/// Where an application stands. Of several that hold, the first counts.
enum class ApplicationState {
    Unfinished, ///< A take-over, an update or a publication was begun and not completed.
    Rescued,    ///< Its files are kept aside, as they could not be published.
    Damaged,    ///< It is in the store, and its descriptor, its current version or a published file is not.
    Store,      ///< It is whole in the store.
    Rpm,        ///< It is in rpm.
    Unknown,    ///< It, or what may have it, cannot be looked at.
    Lost,       ///< It was installed, by the registry or a binding to a source, and is nowhere.
};

const char *nameOf(ApplicationState state);

/// Whether the state is one that somebody has to see to.
bool needsSomebody(ApplicationState state);

struct ApplicationStanding {
    std::string id;
    std::string version; ///< Empty where nobody knows.
    ApplicationState state;
    std::string reason; ///< Empty where there is nothing to say.
};

/// What there is to know of a machine at one look.
struct MachineState {
    /// By name, whether they are done; nothing where nobody knows.
    std::vector<std::pair<std::string, std::optional<bool>>> migrations;
    std::vector<ApplicationStanding> applications; ///< By id.
    std::size_t takeOvers = 0;                     ///< Packages on their way from rpm into the store.
    std::optional<std::uintmax_t> storeBytes;      ///< Nothing when not all of it could be looked at.
    std::optional<SourcesView> sources;            ///< Nothing when they cannot be read.
    Unread unread;
};

/// Whether the migration has left its stamp, and nothing to go on with. Raises ErrorCode::UnauthorizedAccess,
/// and ErrorCode::Filesystem where the system does not say.
bool isDone(const MigrationStamp &stamp);

/// Looks at stamps, journal, store, rpm, registry and sources, and changes nothing. What cannot be read is
/// left out, and nothing is concluded from that.
MachineState inspectMachine(const IConfiguration &configuration);

} // namespace Core::KELP
