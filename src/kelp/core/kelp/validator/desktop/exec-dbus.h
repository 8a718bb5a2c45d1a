#pragma once

#include "kelp/core/kelp/mappings/mapping.h"

#include <string>
#include <vector>

namespace Validator {

/// Where the files of a package lie while it is judged.
struct UnpackedTree {
    std::string root;
    std::vector<Core::KELP::Mapping>
        mappings; ///< How its layout differs from the system's; empty if it does not.
};

/// Whether a D-Bus launch line starts the application's own binary, which is told by its name, or a program
/// that lies, all links followed, in the application's directory below /usr/libexec. A program that cannot be
/// resolved gives a line on standard error.
bool isExecDBusAllowed(const std::string &launchLine, const std::string &packageName,
                       const UnpackedTree &tree);

} // namespace Validator
