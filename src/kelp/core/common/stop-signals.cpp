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
    // A handler that does nothing, as exec(2) takes it away: what is ignored stays so in all that is started,
    // and scripts rely on a filter that ends with its reader.
    action.sa_handler = [](int) {};
    action.sa_flags = SA_RESTART;
    ::sigaction(SIGPIPE, &action, nullptr);
}

bool stopRequested() {
    sigset_t pending;
    ::sigemptyset(&pending);
    // Nobody takes a signal out: once there was one, every later look sees it.
    ::sigpending(&pending);
    return std::ranges::any_of(stopSignals, [&](int signal) { return ::sigismember(&pending, signal) == 1; });
}

} // namespace Common
