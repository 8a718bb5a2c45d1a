#pragma once

#include "kelp/core/common/files/file-descriptor.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace KelpCtl {

/// Where packages are unpacked in memory.
constexpr const char *memoryDirectory = "/dev/shm";

/// Whether to unpack packages of `size` bytes in memoryDirectory, `jobs` of them at once. TMPDIR must not be
/// set, memoryDirectory must be a writable filesystem in memory, and `size` at most 64 MiB. All `jobs`
/// packages must fit into half of the free memory, and into half of the free space of memoryDirectory. Other
/// packages go to the directory for temporary files.
bool fitsMemory(std::uint64_t size, std::size_t jobs);

/// The places that packages may be unpacked to, at most both.
std::vector<std::filesystem::path> workspacePlaces();

/// The directory in which one package is unpacked. This object made the directory and reaches it by a
/// descriptor, so nobody can exchange it.
///
/// A temporary workspace lies in a directory "kelpctl-XXXXXX". In that directory a second entry, a file, is
/// locked until the object ends or its process is killed. A clean-up tells whose workspace this is by the
/// owner of directory and file, and by the lock whether it is in use.
class Workspace {
public:
    /// A temporary one below `parent`, removed with all in it at the end. A killed process leaves it for
    /// clearLeft(). Raises std::runtime_error when it cannot be made.
    explicit Workspace(const std::filesystem::path &parent);
    /// A lasting one, `directory`/`name`, with its parents. Raises std::runtime_error when it exists or
    /// cannot be made, and as Common::createDirectories() does.
    Workspace(const std::filesystem::path &directory, const std::string &name);
    Workspace(const Workspace &) = delete;
    Workspace &operator=(const Workspace &) = delete;
    ~Workspace();

    /// Valid as long as the object.
    std::filesystem::path path() const;

    /// Removes the workspaces that this user's killed processes left below `parent`. Failures leave them
    /// there.
    static void clearLeft(const std::filesystem::path &parent);

private:
    bool tryToMake(const std::filesystem::path &parent);
    void open(const std::filesystem::path &path);

    std::filesystem::path temporary_; ///< Empty for a lasting one.
    Common::FileDescriptor lock_;
    Common::FileDescriptor directory_;
};

} // namespace KelpCtl
