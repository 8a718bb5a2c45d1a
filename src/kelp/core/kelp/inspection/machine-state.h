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

/// Where an application stands. If several hold, the first counts. But a failed look at its files in the
/// store counts before Rpm.
enum class ApplicationState {
    Unfinished, ///< An operation on it was begun, and not completed or taken back as a whole.
    Rescued,    ///< Its files are kept aside, as they could not be published.
    Damaged,    ///< It is in the store; version, descriptor, list or published file is missing or torn.
    Store,      ///< It is whole in the store.
    Rpm,        ///< It is in rpm.
    Unknown,    ///< It, or a place that may hold it, cannot be looked at.
    Lost,       ///< It was installed, by the registry or a binding to a source, and is nowhere.
};

const char *nameOf(ApplicationState state);

/// Whether the state needs a person.
bool needsSomebody(ApplicationState state);

struct ApplicationStanding {
    std::string id;
    std::string version; ///< Empty if unknown.
    ApplicationState state;
    std::string reason; ///< Empty where there is nothing to say.
};

/// The state of a machine at one look.
struct MachineState {
    /// In the launcher's order, their names, and whether they are done; nothing if unknown.
    std::vector<std::pair<std::string, std::optional<bool>>> migrations;
    std::vector<ApplicationStanding> applications; ///< By id.
    std::size_t takeOvers = 0;                     ///< Packages on their way from rpm into the store.
    std::optional<std::uintmax_t> storeBytes;      ///< Nothing when not all of it could be looked at.
    std::optional<SourcesView> sources;            ///< Nothing when they cannot be read.
    Unread unread;
};

/// Whether the migration has left its stamp, and no work. Raises ErrorCode::UnauthorizedAccess, and
/// ErrorCode::Filesystem when the look fails.
bool isDone(const MigrationStamp &stamp);

/// Looks at stamps, journal, store, rpm, registry and sources, and changes nothing. Leaves out what cannot be
/// read, and draws no conclusion from that.
MachineState inspectMachine(const IConfiguration &configuration);

} // namespace Core::KELP
