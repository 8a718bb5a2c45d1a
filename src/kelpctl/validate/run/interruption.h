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

    /// Becomes readable when one is received, for whoever waits for other files too.
    static int descriptor();

    /// Raises Interrupted when one was received.
    static void check();

    /// To be called by a process that was forked to judge. A second request, as that which the first process
    /// gives on, does not end it: it removes what it has made.
    static void serveAnother();

    /// As long as one lives, such a process is ended when it does not come to check() within half a minute
    /// after a request.
    class Watch {
    public:
        Watch();
        Watch(const Watch &) = delete;
        Watch &operator=(const Watch &) = delete;
        ~Watch();
    };

    /// Ends the program by the signal that was received, as it would have done at once.
    /// To be called only when one was.
    [[noreturn]] static void die();

private:
    struct sigaction old_[3];
};

} // namespace KelpCtl
