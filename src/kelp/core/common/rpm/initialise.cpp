#include "kelp/core/common/rpm/initialise.h"

#include "kelp/core/common/errors/log-stream.h"

#include <malloc.h>
#include <rpm/rpmlib.h>
#include <rpm/rpmlog.h>

#include <string>

namespace Common::Rpm {

namespace {

int quiet = 0; ///< The objects that live.
bool isLogged = false;

/// Returns the value that stops librpm's own handling of the record.
int logRecord(rpmlogRec record, rpmlogCallbackData) {
    if (quiet > 0)
        return 0;
    const rpmlogLvl priority = rpmlogRecPriority(record);
    std::string text = rpmlogRecMessage(record);
    while (text.ends_with('\n'))
        text.pop_back();
    LogStream(priority <= RPMLOG_ERR       ? LogLevel::Error
              : priority == RPMLOG_WARNING ? LogLevel::Warning
                                           : LogLevel::Info)
        << text;
    return 0;
}

} // namespace

void initialise() {
    static bool started = false;
    if (started)
        return;
    // Set before the attempt: a failure is reported once.
    started = true;
    if (isLogged)
        rpmlogSetCallback(logRecord, nullptr);
    if (rpmReadConfigFiles(nullptr, nullptr) != 0)
        LogStream(LogLevel::Warning) << "Couldn't read RPM configuration files";
}

void logLibrary() {
    isLogged = true;
}

void giveBackLargeBlocks() {
    constexpr int largeBlock = 128 << 10;
    ::mallopt(M_MMAP_THRESHOLD, largeBlock);
}

void silenceLibrary() {
    rpmlogSetMask(RPMLOG_MASK(RPMLOG_EMERG));
}

QuietLibrary::QuietLibrary() : nowhere_(std::fopen("/dev/null", "we")), before_(rpmlogSetFile(nowhere_)) {
    ++quiet;
}

QuietLibrary::~QuietLibrary() {
    --quiet;
    rpmlogSetFile(before_);
    if (nowhere_)
        std::fclose(nowhere_);
}

} // namespace Common::Rpm
