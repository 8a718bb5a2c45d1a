#pragma once

#include <string>
#include <vector>

/// What the process has reported to the event log, "CATEGORY EVENT TEXT" each. This program's log_event()
/// records and does nothing else.
std::vector<std::string> &recordedEvents();
