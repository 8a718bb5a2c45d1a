#include "platform/event-log/log-event.h"

#include "support/captured-output.h"

#include <gmock/gmock.h>
#include <syslog.h>

namespace {

TEST(LogEvent, PutsTheNumbersBeforeTheTextAsItIs) {
    CapturedOutput error(CapturedOutput::Stream::Error);
    ::openlog("platform-test", LOG_PERROR, LOG_USER);
    const int result = log_event(3, 7, "org.example.notes %s %n");
    ::closelog();
    EXPECT_EQ(result, 0);
    EXPECT_EQ(error.take(), "platform-test: 3 7 org.example.notes %s %n\n");
}

} // namespace
