#pragma once

#include <filesystem>

namespace Common {

/// A private directory, which the destructor removes with all its contents. It lies in the temporary
/// directory. If it cannot be made there, as on a read-only root, it lies in the service's RUNTIME_DIRECTORY,
/// or in /run for a program that systemd gave none. After a kill it stays until the system clears that place.
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
