#include "recorded-events.h"

#include "platform/event-log/log-event.h"

std::vector<std::string> &recordedEvents() {
    static std::vector<std::string> events;
    return events;
}

int log_event(int category, int event, const char *text) {
    recordedEvents().push_back(std::to_string(category) + " " + std::to_string(event) + " " + text);
    return 0;
}
