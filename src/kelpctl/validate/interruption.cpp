#include "kelpctl/validate/interruption.h"

#include "kelpctl/shown-text.h"

#include <unistd.h>

#include <cstdlib>
#include <iterator>

namespace KelpCtl {

namespace {

constexpr int requests[] = {SIGINT, SIGTERM, SIGHUP};

/// All that a handler may do: what was unpacked is removed on the way out, by the destructors.
volatile std::sig_atomic_t received = 0;

/// What there is to tell when the tree stays. Written before the handler may find it.
char farewell[8192];
volatile std::sig_atomic_t farewellSize = 0;

void note(int signal) {
    if (received != 0) {
        [[maybe_unused]] const ssize_t written =
            ::write(STDERR_FILENO, farewell, static_cast<std::size_t>(farewellSize));
        std::signal(signal, SIG_DFL);
        std::raise(signal);
    }
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

Interruption::Tree::Tree(const std::string &path) {
    const std::string text = "kelpctl: " + shown(path) + " is left\n";
    farewellSize = static_cast<std::sig_atomic_t>(text.copy(farewell, sizeof farewell));
}

Interruption::Tree::~Tree() {
    farewellSize = 0;
}

void Interruption::die() {
    // By the signal itself and not by a status, so that a shell that runs a loop of packages stops too.
    std::signal(received, SIG_DFL);
    std::raise(received);
    std::abort();
}

} // namespace KelpCtl
