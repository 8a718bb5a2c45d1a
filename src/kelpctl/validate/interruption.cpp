#include "kelpctl/validate/interruption.h"

#include <cstdlib>
#include <iterator>

namespace KelpCtl {

namespace {

constexpr int requests[] = {SIGINT, SIGTERM, SIGHUP};

/// All that a handler may do: what was unpacked is removed on the way out, by the destructors.
volatile std::sig_atomic_t received = 0;

void note(int signal) {
    received = signal;
}

} // namespace

Interruption::Interruption() {
    received = 0;
    struct sigaction action {};
    action.sa_handler = note;
    for (std::size_t i = 0; i < std::size(requests); ++i) {
        ::sigaction(requests[i], nullptr, &old_[i]);
        if (old_[i].sa_handler != SIG_IGN) // As nohup asks for it.
            ::sigaction(requests[i], &action, nullptr);
    }
}

Interruption::~Interruption() {
    for (std::size_t i = 0; i < std::size(requests); ++i)
        ::sigaction(requests[i], &old_[i], nullptr);
}

void Interruption::check() {
    if (received != 0)
        throw Interrupted();
}

void Interruption::die() {
    // By the signal itself and not by a status, so that a shell that runs a loop of packages stops too.
    std::signal(received, SIG_DFL);
    std::raise(received);
    std::abort();
}

} // namespace KelpCtl
