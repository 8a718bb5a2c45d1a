#pragma once

#ifdef __cplusplus
extern "C" {
#endif

/// Reports an event to the platform's event log. The result tells whether it arrived: 0 when it did.
int log_event(int category, int event, const char *text);

#ifdef __cplusplus
}
#endif
