#include "kelp/core/common/rpm/initialise.h"

#include "kelp/core/common/errors/log-stream.h"

#include <rpm/rpmlib.h>
#include <rpm/rpmlog.h>

namespace Common::Rpm {

void initialise() {
    static bool started = false;
    if (started)
        return;
    // Before it is tried: what failed once is told once.
    started = true;
    if (rpmReadConfigFiles(nullptr, nullptr) != 0)
        LogStream(LogLevel::Warning) << "Couldn't read RPM configuration files";
}

void silenceLibrary() {
    rpmlogSetMask(RPMLOG_MASK(RPMLOG_EMERG));
}

} // namespace Common::Rpm
