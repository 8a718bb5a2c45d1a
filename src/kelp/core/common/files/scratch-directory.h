#pragma once

#include <filesystem>

namespace Common {

/// A directory of its own in the temporary directory, gone with all in it when the object goes. What a killed
/// process leaves of it is for whoever clears the temporary directory.
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
