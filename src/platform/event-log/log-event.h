#pragma once

#ifdef __cplusplus
extern "C" {
#endif

/// Reports an event to the platform's event log. Returns another number than 0 if the event is known to be
/// lost; this stand-in never knows.
int log_event(int category, int event, const char *text);

#ifdef __cplusplus
}
#endif
