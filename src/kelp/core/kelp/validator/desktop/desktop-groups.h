#pragma once

namespace AppManifest {
class ManifestEntry;
}

namespace Validator {

class Logger;

/// Reports each group of a desktop file that no application may have, and each bad key and value of the
/// groups that tell how its window and its splash screen look. Groups of background tasks are let through:
/// they have a checker of their own.
void checkGroups(const AppManifest::ManifestEntry &entry, Logger &logger);

} // namespace Validator
