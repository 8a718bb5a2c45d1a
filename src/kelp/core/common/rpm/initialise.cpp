#include "kelp/core/common/rpm/initialise.h"

#include "kelp/core/common/log-stream.h"

#include <rpm/rpmlib.h>

namespace Common::Rpm {

void initialise() {
    static bool started = false;
    if (started)
        return;
    started = true;
    if (rpmReadConfigFiles(nullptr, nullptr) != 0)
        LogStream(LogLevel::Warning) << "Couldn't read RPM configuration files";
}

} // namespace Common::Rpm
