#pragma once

#include "kelp/core/common/file-descriptor.h"

#include <filesystem>
#include <map>
#include <string>

namespace Core::KELP {

using Common::FileDescriptor;

/// The directory into which a foreign package is unpacked. Whatever paths the package names, nothing outside
/// the directory is made, changed or linked to: paths go down only, through directories and never through
/// links, and nothing that exists is replaced.
///
/// Paths are relative to the directory. One that is empty, too long or has an empty, "." or ".." component,
/// and one whose place is taken or lies below something that is no directory, raises
/// ErrorCode::BadPackageContent "package content validation failed". What the system cannot do raises
/// ErrorCode::Filesystem "Couldn't write to staging directory: PATH".
class StagingDirectory {
public:
    /// Makes the directory, with its parents, unless it exists.
    explicit StagingDirectory(std::filesystem::path path);

    const std::filesystem::path &path() const { return path_; }

    /// Where a path of the package lies.
    std::filesystem::path realPath(const std::filesystem::path &path) const { return path_ / path; }

    /// Makes the directory and its parents; one that exists is fine. It stays writable until
    /// applyPermissions().
    void makeDirectory(const std::filesystem::path &path, std::filesystem::perms permissions);
    /// Makes an empty file, and its parents.
    FileDescriptor createFile(const std::filesystem::path &path) const;
    /// Makes a symbolic link, and its parents. The target is not looked at.
    void createSymlink(const std::filesystem::path &target, const std::filesystem::path &path) const;
    /// Gives a file of the directory a further name.
    void createHardlink(const std::filesystem::path &target, const std::filesystem::path &path) const;

    /// Gives the directories the permissions that they were made with, when nothing more is to be made.
    void applyPermissions() const;

private:
    FileDescriptor openDirectory(const std::filesystem::path &path) const;
    FileDescriptor openByComponents(const std::filesystem::path &path) const;
    void checkPath(const std::filesystem::path &path) const;

    std::filesystem::path path_;
    FileDescriptor directory_;
    std::map<std::string, std::filesystem::perms> permissions_;
};

/// Sets the permission bits of an open file, without set-id and sticky bits. Raises ErrorCode::Filesystem.
void setPermissions(const FileDescriptor &file, std::filesystem::perms permissions,
                    const std::filesystem::path &name);

} // namespace Core::KELP
