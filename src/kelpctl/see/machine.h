#pragma once

#include "kelp/core/common/configuration.h"

#include <filesystem>
#include <optional>

namespace CLI {
class App;
}

namespace KelpCtl {

/// What all commands have that look at a machine.
struct LookOptions {
    std::filesystem::path root; ///< The machine's root directory; empty for the running machine.
    bool isJson = false;
};

/// Adds --root; `options` is written when the line is parsed and has to live until then.
void addRootOption(CLI::App &command, LookOptions &options);

/// Adds --root and --json; `options` is written when the line is parsed and has to live until then.
void addLookOptions(CLI::App &command, LookOptions &options);

/// The machine that is looked at. For another root than the running machine's, the process makes that one its
/// own, in name spaces of its own, for the rest of its life: links, lists and the rpm database are found as
/// the machine itself would find them.
class Machine {
public:
    /// Raises ErrorCode::UnauthorizedAccess or ErrorCode::Filesystem when the root cannot be entered.
    explicit Machine(const LookOptions &options);

    const Core::Configuration &configuration() const { return *configuration_; }

private:
    std::optional<Core::Configuration> configuration_;
};

} // namespace KelpCtl
