#pragma once

namespace AppManifest {
class ManifestEntry;
}

namespace Validator {

class Logger;

/// Reports each forbidden group of a desktop file, and each bad key and value of the groups about its window
/// and splash screen. Skips groups of background tasks, which have a checker of their own.
void checkGroups(const AppManifest::ManifestEntry &entry, Logger &logger);

} // namespace Validator
