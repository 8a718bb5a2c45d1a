#pragma once

#include <csignal>
#include <exception>

namespace KelpCtl {

/// Raised at points where requested interruptions take effect; files made on disk are removed on the way out.
class Interrupted : public std::exception {
public:
    const char *what() const noexcept override { return "interrupted"; }
};

/// Takes SIGINT, SIGTERM and SIGHUP as requests to stop, as long as it lives. A second one ends the program
/// at once; its judges end by themselves then.
class Interruption {
public:
    Interruption();
    Interruption(const Interruption &) = delete;
    Interruption &operator=(const Interruption &) = delete;
    ~Interruption();

    /// Whether one was received.
    static bool isRequested();

    /// Becomes readable when one is received, for a poll together with other files.
    static int descriptor();

    /// Raises Interrupted when one was received.
    static void check();

    /// Call it in a process that was forked to judge. A second request, such as the one passed on by the
    /// first process, then does not end it before it has removed its files. There is no descriptor() then.
    static void serveAnother();

    /// While one lives, such a process ends if it does not reach check() within half a minute after a
    /// request.
    class Watch {
    public:
        Watch();
        Watch(const Watch &) = delete;
        Watch &operator=(const Watch &) = delete;
        ~Watch();
    };

    /// Ends the program by the received signal, like its default action. Call it only after one.
    [[noreturn]] static void die();

private:
    struct sigaction old_[3];
};

} // namespace KelpCtl
