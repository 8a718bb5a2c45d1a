#pragma once

#include <csignal>
#include <exception>
#include <string>

namespace KelpCtl {

/// Raised where the work may stop when somebody asked for it; what was made on disk is removed on the way
/// out.
class Interrupted : public std::exception {
public:
    const char *what() const noexcept override { return "interrupted"; }
};

/// Takes SIGINT, SIGTERM and SIGHUP as requests to stop, as long as it lives. A second one ends the program
/// at once: to remove a tree of hundreds of thousands of directories takes minutes.
class Interruption {
public:
    Interruption();
    Interruption(const Interruption &) = delete;
    Interruption &operator=(const Interruption &) = delete;
    ~Interruption();

    /// Raises Interrupted when one was received.
    static void check();

    /// The tree that a second signal leaves, and tells of. As long as it lives.
    class Tree {
    public:
        explicit Tree(const std::string &path);
        Tree(const Tree &) = delete;
        Tree &operator=(const Tree &) = delete;
        ~Tree();
    };

    /// Ends the program by the signal that was received, as it would have done at once.
    /// To be called only when Interrupted was raised.
    [[noreturn]] static void die();

private:
    struct sigaction old_[3];
};

} // namespace KelpCtl
