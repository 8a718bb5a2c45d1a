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

// What a desktop file is judged by that is no checker of its own.

/// Where the files of a package lie while it is judged.
struct UnpackedTree {
    std::string root;
    std::vector<Core::KELP::Mapping>
        mappings; ///< How its layout differs from the system's; empty if it does not.
};

/// Whether a D-Bus launch line starts the application's own binary, which is told by its name, or a program
/// that lies, all links followed, in the application's directory below /usr/libexec. A program that is not
/// there gives a line on standard error; one that cannot be looked at raises ErrorCode::Filesystem "Couldn't
/// look at file: PATH".
bool isExecDBusAllowed(const std::string &launchLine, const std::string &packageName,
                       const UnpackedTree &tree); // exec-dbus.cpp

/// Whether a text can stand below an icon: well-formed UTF-8 with at least one character that is no blank,
/// and without control, format, separator, private and unassigned characters. U+0020 and U+00A0 are the two
/// blanks that it may hold.
bool isDisplayName(std::string_view text);

/// Reports each group of a desktop file that no application may have, and each bad key and value of the
/// groups that tell how its window and its splash screen look. Groups of background tasks are let through:
/// they have a checker of their own.
void checkGroups(const AppManifest::ManifestEntry &entry, Logger &logger); // desktop-groups.cpp

} // namespace Validator
