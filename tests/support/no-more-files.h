#pragma once

#include <sys/resource.h>

/// As long as it lives, no file can be opened: EMFILE.
class NoMoreFiles {
public:
    NoMoreFiles() {
        ::getrlimit(RLIMIT_NOFILE, &old_);
        const rlimit none{0, old_.rlim_max};
        ::setrlimit(RLIMIT_NOFILE, &none);
    }
    NoMoreFiles(const NoMoreFiles &) = delete;
    NoMoreFiles &operator=(const NoMoreFiles &) = delete;
    ~NoMoreFiles() { ::setrlimit(RLIMIT_NOFILE, &old_); }

private:
    rlimit old_{};
};
