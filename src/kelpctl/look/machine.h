#pragma once

#include "kelp/core/common/configuration.h"
#include "kelp/core/common/writer-lock.h"
#include "kelp/core/kelp/inspection/unread.h"

#include <filesystem>
#include <optional>

namespace CLI {
class App;
}

namespace KelpCtl {

/// The options of all commands that look at a machine.
struct LookOptions {
    std::filesystem::path root; ///< The machine's root directory; empty for the running machine.
    bool isJson = false;
};

/// Adds --root. `options` must live until the line is parsed.
void addRootOption(CLI::App &command, LookOptions &options);

/// Adds --root and --json. `options` must live until the line is parsed.
void addLookOptions(CLI::App &command, LookOptions &options);

/// Whether the process sees whom files belong to. A user who has entered the root of a Machine does not: the
/// user's files seem to be root's, and all others nobody's. But true if the user owns the root directory: the
/// user then owns the whole image, and all of it will be root's on a machine.
bool seesOwners();

/// The examined machine. If a root was given, the process changes to that root for the rest of its life. So
/// links, lists and the rpm database resolve as on that machine. In this case the process also gets name
/// spaces of its own, with memory mounted over that machine's /tmp. So a look writes nothing on that machine.
class Machine {
public:
    /// Raises ErrorCode::UnauthorizedAccess or ErrorCode::Filesystem when the root cannot be entered.
    explicit Machine(const LookOptions &options);

    const Core::Configuration &configuration() const { return *configuration_; }

    /// Ends a look. If it has found faults, or something could not be read, and another process has changed
    /// the store since this object was made, adds a text that says so: half of a change looks like a fault.
    void noteWriter(bool isWell, Core::KELP::Unread &unread) const;

private:
    std::optional<Core::Configuration> configuration_;
    std::optional<Common::WriterWatch> watch_;
};

} // namespace KelpCtl
