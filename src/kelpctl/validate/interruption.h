#pragma once

#include <csignal>
#include <exception>

namespace KelpCtl {

/// Raised where the work may stop when somebody asked for it; what was made on disk is removed on the way
/// out.
class Interrupted : public std::exception {
public:
    const char *what() const noexcept override { return "interrupted"; }
};

/// Takes SIGINT, SIGTERM and SIGHUP as requests to stop, as long as it lives.
class Interruption {
public:
    Interruption();
    Interruption(const Interruption &) = delete;
    Interruption &operator=(const Interruption &) = delete;
    ~Interruption();

    /// Raises Interrupted when one was received.
    static void check();

    /// Ends the program by the signal that was received, as it would have done at once.
    /// To be called only when Interrupted was raised.
    [[noreturn]] static void die();

private:
    struct sigaction old_[3];
};

} // namespace KelpCtl
