#pragma once

#include <filesystem>

namespace Common {

/// A private directory, removed with all in it by the destructor. It lies in the temporary directory; if that
/// cannot be written, as on a read-only root, in the service's RUNTIME_DIRECTORY, else in /run. After a kill
/// it stays, until the system clears those places.
class ScratchDirectory {
public:
    /// Raises ErrorCode::Filesystem "Couldn't create temporary directory; TMPDIR names another place".
    ScratchDirectory();
    ScratchDirectory(const ScratchDirectory &) = delete;
    ScratchDirectory &operator=(const ScratchDirectory &) = delete;
    ~ScratchDirectory();

    const std::filesystem::path &path() const { return path_; }

private:
    std::filesystem::path path_;
};

} // namespace Common
