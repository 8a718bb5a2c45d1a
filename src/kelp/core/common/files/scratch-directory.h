#pragma once

#include <filesystem>

namespace Common {

/// A directory of its own, gone with all in it when the object goes: in the temporary directory, or where
/// that cannot be written, as on a read-only root, in the service's RUNTIME_DIRECTORY, else in /run. What a
/// killed process leaves of it is for whoever clears these.
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
