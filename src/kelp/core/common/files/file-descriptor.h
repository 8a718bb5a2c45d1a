#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace Common {

/// An open file that closes with its owner.
class FileDescriptor {
public:
    explicit FileDescriptor(int file = -1) : file_(file) {}
    FileDescriptor(FileDescriptor &&other) noexcept;
    FileDescriptor &operator=(FileDescriptor &&other) noexcept;
    ~FileDescriptor();

    /// Negative when nothing is open.
    int get() const { return file_; }

    /// Gives the file up to the caller.
    int release() { return std::exchange(file_, -1); }

    /// Raises ErrorCode::Filesystem when a pending write fails, with the system's reason.
    void close();

private:
    int file_;
};

/// Opens /dev/null for reading as each of the standard descriptors (0 to 2) that is closed. Writing to such a
/// descriptor still fails. Call it first in a program: the next file that is opened takes the number of a
/// closed descriptor. As the standard output, that file would get the lines of the log.
void holdStandardDescriptors();

/// Opens a relative path below an open directory. Follows no link, and never leaves the directory. On failure
/// nothing is open, and errno tells why.
FileDescriptor openBeneath(int directory, const std::filesystem::path &path, int flags);

/// The names in a directory, sorted. Nothing, and errno tells why, when it cannot be read as a whole; the
/// errno of the failed open() when it is not open.
std::optional<std::vector<std::string>> namesIn(const FileDescriptor &directory);

} // namespace Common
