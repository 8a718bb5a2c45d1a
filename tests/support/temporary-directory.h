#pragma once

#include "support/scoped-environment.h"

#include <filesystem>

/// A new directory that is gone, with all in it, at the end. It is in memory, where nothing waits for a disk,
/// unless TMPDIR names another place.
class TemporaryDirectory {
public:
    TemporaryDirectory();
    TemporaryDirectory(const TemporaryDirectory &) = delete;
    TemporaryDirectory &operator=(const TemporaryDirectory &) = delete;
    ~TemporaryDirectory();

    const std::filesystem::path &path() const { return path_; }

private:
    std::filesystem::path path_;
};

/// A temporary directory that is the root prefix for as long as it lives.
class TemporaryRoot : public TemporaryDirectory {
    ScopedEnvironment environment_{"KELP_ROOT_FS", path().string()};
};
