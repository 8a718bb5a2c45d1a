#pragma once

#include <sys/resource.h>

/// As long as it lives, no file can be opened: EMFILE. Or only `limit` at a time, those of before included.
class NoMoreFiles {
public:
    explicit NoMoreFiles(rlim_t limit = 0) {
        ::getrlimit(RLIMIT_NOFILE, &old_);
        const rlimit none{limit, old_.rlim_max};
        ::setrlimit(RLIMIT_NOFILE, &none);
    }
    NoMoreFiles(const NoMoreFiles &) = delete;
    NoMoreFiles &operator=(const NoMoreFiles &) = delete;
    ~NoMoreFiles() { ::setrlimit(RLIMIT_NOFILE, &old_); }

private:
    rlimit old_{};
};
