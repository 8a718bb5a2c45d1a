#include "kelp/core/trusted-sources/policy.h"

#include "kelp/core/common/files/durable-file.h"
#include "kelp/core/common/files/filesystem.h"
#include "kelp/core/common/i-configuration.h"
#include "kelp/core/trusted-sources/sqlite-database.h"

namespace Core::TrustedSources {

void setPolicy(const IConfiguration &configuration, PolicySetting setting, bool isAllowed) {
    const auto directory = configuration.trustedSourcesDatabasePath().parent_path();
    Common::createPrivateDirectory(directory);
    SQLiteDatabase database(configuration);
    if (setting == PolicySetting::MissingSource) {
        // Read first: an update of a missing switch would change nothing, without an error.
        static_cast<void>(database.missingSourceAllowed());
        database.setMissingSourceAllowed(isAllowed);
    } else {
        static_cast<void>(database.webPwaSourceAllowed());
        database.setWebPwaSourceAllowed(isAllowed);
    }
    // SQLite flushes the file, but not the removal of its journal. A power cut would bring the journal back,
    // and the next reader would roll back to the old value.
    Common::flushFile(directory);
}

} // namespace Core::TrustedSources
