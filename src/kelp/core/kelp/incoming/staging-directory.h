#pragma once

#include "kelp/core/common/files/file-descriptor.h"
#include "kelp/core/kelp/incoming/symbolic-link-targets.h"

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace Core::KELP {

using Common::FileDescriptor;

/// The directory into which a foreign package is unpacked. No path of the package can make or change anything
/// outside the directory, or give a file outside a further name. Each path leads downward, through
/// directories and never through links, and replaces nothing.
///
/// Paths are relative to the directory. Making an entry raises ErrorCode::BadPackageContent "package content
/// validation failed" if isPossible() denies its path, or if the path lies below a file or link, or is taken.
/// The same holds for a hard link to a missing file. A directory may be made twice. A failure of the system
/// raises ErrorCode::Filesystem: "Couldn't open file for writing rpm content: PATH", "Couldn't look into
/// staging directory: PATH", or the text that the operation has in filesystem.h.
class StagingDirectory {
public:
    /// Makes the directory, with its parents, unless it exists. Raises as Common::createDirectories() too.
    explicit StagingDirectory(const std::filesystem::path &path);

    /// With all links resolved: the checkers compare resolved paths with it.
    const std::filesystem::path &path() const { return path_; }

    /// Whether a package may have the path at all. The path must not be empty, be absurdly long or deep, or
    /// have a component that is empty, ".", ".." or longer than any file name. The bounds are the same
    /// wherever the staging directory lies, so that no verdict depends on that. They limit what one entry can
    /// cost.
    static bool isPossible(const std::filesystem::path &path);

    /// Whether a link of the package may have the text: neither empty nor so long that it would depend on
    /// where the directory lies.
    static bool isPossibleTarget(const std::string &text);

    /// Where a path of the package lies.
    std::filesystem::path realPath(const std::filesystem::path &path) const { return path_ / path; }

    /// Makes the directory and its parents; one that exists is fine. It stays writable until
    /// applyPermissions().
    void makeDirectory(const std::filesystem::path &path, std::filesystem::perms permissions);
    /// Makes an empty file, and its parents. It is open for reading and writing.
    FileDescriptor createFile(const std::filesystem::path &path);
    /// Makes a symbolic link, and its parents. The target is not looked at.
    void createSymlink(const std::filesystem::path &target, const std::filesystem::path &path) const;
    /// Gives a file of the directory a further name.
    void createHardlink(const std::filesystem::path &target, const std::filesystem::path &path) const;

    /// Gives the directories their intended permissions. Call it when everything is made.
    void applyPermissions() const;

    /// Remembers the permissions of a file that its owner may not read, for applyFilePermissions().
    void hideLater(const std::filesystem::path &path, std::filesystem::perms permissions);
    /// Gives those files their permissions. Call it when all reading is done.
    void applyFilePermissions() const;

    /// The entry at a path, none of whose directories is a link. Empty when there is none.
    std::optional<TreeNode> find(const std::filesystem::path &path) const;
    /// The names in a directory, none of whose parents is a link, in byte order.
    std::vector<std::string> namesIn(const std::filesystem::path &path) const;

private:
    FileDescriptor openDirectory(const std::filesystem::path &path) const;
    const FileDescriptor &openParent(const std::filesystem::path &path);
    FileDescriptor makeByComponents(const std::filesystem::path &path) const;
    FileDescriptor openExisting(const std::filesystem::path &path, int flags) const;
    void checkPath(const std::filesystem::path &path) const;

    std::filesystem::path path_;
    FileDescriptor directory_;
    std::filesystem::path lastParent_;
    FileDescriptor lastParentDirectory_; ///< Stays valid: no directory is renamed or removed.
    std::map<std::string, std::filesystem::perms> permissions_; ///< Of directories.
    std::map<std::string, std::filesystem::perms> hidden_;      ///< Of files.
};

/// Sets the permission bits of an open file, without set-id and sticky bits. Raises ErrorCode::Filesystem.
void setPermissions(const FileDescriptor &file, std::filesystem::perms permissions,
                    const std::filesystem::path &name);

} // namespace Core::KELP
