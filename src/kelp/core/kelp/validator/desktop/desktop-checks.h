#pragma once

#include "kelp/core/kelp/mappings/mapping.h"

#include <string>
#include <string_view>
#include <vector>

namespace AppManifest {
class ManifestEntry;
}

namespace Validator {

class Logger;

// Checks of a desktop file that are not checkers of their own.

/// Where the files of a package lie while it is judged.
struct UnpackedTree {
    std::string root;
    std::vector<Core::KELP::Mapping>
        mappings; ///< How its layout differs from the system's; empty if it does not.
};

/// Whether a D-Bus launch line starts the application's own binary, by its name, or a program in the
/// application's directory below /usr/libexec, with all links followed. A missing program gives a line on
/// standard error; a failed look raises ErrorCode::Filesystem "Couldn't look at file: PATH".
bool isExecDBusAllowed(const std::string &launchLine, const std::string &packageName,
                       const UnpackedTree &tree);

/// Whether a text can be shown below an icon: well-formed UTF-8 with at least one character other than a
/// blank, and without control, format, separator, private and unassigned characters. Only the blanks U+0020
/// and U+00A0 are allowed.
bool isDisplayName(std::string_view text);

/// Reports each forbidden group of a desktop file, and each bad key and value of the groups about its window
/// and splash screen. Skips groups of background tasks, which have a checker of their own.
void checkGroups(const AppManifest::ManifestEntry &entry, Logger &logger); // desktop-groups.cpp

} // namespace Validator
