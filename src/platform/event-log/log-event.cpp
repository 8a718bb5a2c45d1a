#include "platform/event-log/log-event.h"

#include <syslog.h>

int log_event(int category, int event, const char *text) {
    ::syslog(LOG_NOTICE, "%d %d %s", category, event, text);
    return 0;
}
