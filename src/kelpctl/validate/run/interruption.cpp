#include "kelpctl/validate/run/interruption.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <iterator>

namespace KelpCtl {

namespace {

constexpr int requests[] = {SIGINT, SIGTERM, SIGHUP};
constexpr unsigned patience = 30; // Seconds.

/// A handler may do no more. The destructors remove the unpacked files on the way out.
volatile std::sig_atomic_t received = 0;
volatile std::sig_atomic_t servesAnother = 0;
volatile std::sig_atomic_t isWatched = 0;
volatile std::sig_atomic_t event = -1;

void note(int signal) {
    const int error = errno;
    if (servesAnother != 0) {
        if (received == 0 && isWatched != 0)
            ::alarm(patience);
    } else if (received != 0) {
        std::signal(signal, SIG_DFL);
        std::raise(signal);
    }
    received = signal;
    const std::uint64_t one = 1;
    // If the write fails, no one is waiting for it.
    [[maybe_unused]] const ssize_t written = ::write(event, &one, sizeof one);
    errno = error;
}

} // namespace

Interruption::Interruption() {
    received = 0;
    event = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    struct sigaction action {};
    action.sa_handler = note;
    for (std::size_t i = 0; i < std::size(requests); ++i) {
        ::sigaction(requests[i], nullptr, &old_[i]);
        if (old_[i].sa_handler != SIG_IGN) // Ignored signals stay so, as under nohup.
            ::sigaction(requests[i], &action, nullptr);
    }
}

Interruption::~Interruption() {
    for (std::size_t i = 0; i < std::size(requests); ++i)
        ::sigaction(requests[i], &old_[i], nullptr);
    ::close(event);
}

bool Interruption::isRequested() {
    return received != 0;
}

int Interruption::descriptor() {
    return event;
}

void Interruption::check() {
    if (received == 0)
        return;
    // The removal of hundreds of thousands of directories takes minutes.
    ::alarm(0);
    throw Interrupted();
}

void Interruption::serveAnother() {
    servesAnother = 1;
    // The event is shared with the first process. Nobody reads it: a request to this one alone would keep the
    // other's poll ready for ever.
    const int shared = event;
    event = -1;
    ::close(shared);
}

Interruption::Watch::Watch() {
    isWatched = 1;
}

Interruption::Watch::~Watch() {
    isWatched = 0;
    ::alarm(0);
}

void Interruption::die() {
    // By the signal itself and not by a status, so that a shell's loop over packages stops too.
    std::signal(received, SIG_DFL);
    std::raise(received);
    std::abort();
}

} // namespace KelpCtl
