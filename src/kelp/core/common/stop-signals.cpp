#include "kelp/core/common/stop-signals.h"

#include <csignal>

#include <algorithm>
#include <array>

namespace Common {

namespace {

constexpr std::array stopSignals = {SIGTERM, SIGINT, SIGHUP};

} // namespace

void deferStopSignals() {
    sigset_t deferred;
    ::sigemptyset(&deferred);
    for (const int signal : stopSignals)
        ::sigaddset(&deferred, signal);
    ::sigprocmask(SIG_BLOCK, &deferred, nullptr);
}

void ignoreBrokenPipes() {
    struct sigaction action {};
    // An empty handler, and not SIG_IGN: exec(2) resets a handler, but started programs inherit an ignored
    // signal. Scripts rely on filters that end with their reader.
    action.sa_handler = [](int) {};
    action.sa_flags = SA_RESTART;
    ::sigaction(SIGPIPE, &action, nullptr);
}

bool stopRequested() {
    sigset_t pending;
    ::sigemptyset(&pending);
    // A pending signal is never taken: every later look sees it again.
    ::sigpending(&pending);
    return std::ranges::any_of(stopSignals, [&](int signal) { return ::sigismember(&pending, signal) == 1; });
}

} // namespace Common
