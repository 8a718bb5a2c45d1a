#pragma once

#include "kelp/core/common/files/file-descriptor.h"

#include <sys/types.h>

#include <filesystem>
#include <string>

namespace Core::KELP {

/// An entry of a directory that other users may own by now. It is held by a descriptor, since they may put a
/// link at its path. The setters do not flush: if a power cut undoes one, the next `kelpctl doctor` finds the
/// fault again. All operations raise ErrorCode::Filesystem.
class HeldEntry {
public:
    /// Takes an O_PATH descriptor, and raises if it is none, or that of an entry of another type (S_IFREG,
    /// S_IFDIR, S_IFLNK). `path` is for people.
    HeldEntry(Common::FileDescriptor file, std::filesystem::path path, mode_t type);

    void setMode(mode_t mode) const;
    void setOwner(uid_t owner, gid_t group) const;
    /// Writes the id as the attribute that names a file's application.
    void setApplication(const std::string &id) const;

private:
    std::string reach() const;

    Common::FileDescriptor file_;
    std::filesystem::path path_;
};

} // namespace Core::KELP
